#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace TestSupport {

/// A WebSocket client on the local host, with a time limit for everything it waits for. Used by one thread.
class WebSocketClient {
public:
    using Milliseconds = std::chrono::milliseconds;
    using Stream = boost::beast::websocket::stream<boost::asio::ip::tcp::socket, false>;

    /// Long enough for a loaded machine; a test that passes never waits it out.
    static constexpr Milliseconds DefaultLimit{20000};

    /// Connects. `origin`: of the page that a browser would show; empty for none. Throws
    /// `boost::system::system_error` where nobody accepts the connection.
    explicit WebSocketClient(std::uint16_t port, const std::string& origin = "");
    ~WebSocketClient();
    WebSocketClient(const WebSocketClient&) = delete;
    WebSocketClient& operator=(const WebSocketClient&) = delete;

    /// Sends one message, as a text or a binary frame. False when the connection is lost or does not take it in time.
    bool Send(std::string_view message, bool isBinary = false, Milliseconds limit = DefaultLimit);

    /// The next message. None when there is none in time, or the connection has ended.
    std::optional<std::string> Receive(Milliseconds limit = DefaultLimit);

    /// Whether the connection has not been seen to end; `Receive` sees it.
    bool IsOpen() const noexcept { return isOpen_; }

    /// Sends a close frame and waits for the answer. False when there is none in time.
    bool Close(Milliseconds limit = DefaultLimit);

    /// The connection itself, for what a well-behaved client does not do.
    Stream& GetStream() noexcept { return *stream_; }

private:
    struct Reading {
        boost::beast::flat_buffer buffer;
        bool isDone = false;
        boost::system::error_code error;
    };

    bool RunUntil(const bool& isDone, Milliseconds limit);
    void Disconnect();

    boost::asio::io_context io_;
    std::unique_ptr<Stream> stream_;
    std::shared_ptr<Reading> reading_;  ///< null while nothing is being read
    bool isOpen_ = false;
};

}  // namespace TestSupport
