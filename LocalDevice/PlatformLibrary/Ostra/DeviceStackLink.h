#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace Ostra {

/// One WebSocket connection (RFC 6455) to a device stack, from connecting to its end. Its work is done on the thread
/// that runs `context`; only `Send` may be called from any thread.
class DeviceStackLink : public std::enable_shared_from_this<DeviceStackLink> {
public:
    using Endpoint = boost::asio::ip::tcp::endpoint;

    /// Called on the io thread. The link does not own it.
    class Owner {
    public:
        /// The connection stands; the owner may now call `Open`.
        virtual void OnLinkConnected() = 0;
        virtual void OnLinkFrame(const std::string& text) = 0;
        /// The connection ended or never came about. Once, and the last call.
        virtual void OnLinkEnded(const boost::system::error_code& reason) = 0;

    protected:
        ~Owner() = default;
    };

    DeviceStackLink(boost::asio::io_context& context, Owner& owner);

    /// Tries the end points in turn, for `timeout` in all.
    void Connect(std::vector<Endpoint> endpoints, std::chrono::steady_clock::duration timeout);

    /// Queues `firstFrames`; from now on `Send` works.
    void Open(const std::vector<std::string>& firstFrames);

    /// Queues a frame. False when the link is not open. Ends a link whose peer has left 64 MiB unread.
    bool Send(const std::string& text);

    /// Sends what is queued and closes, for `timeout` at most.
    void Close(std::chrono::steady_clock::duration timeout);

private:
    void ConnectNext(const boost::system::error_code& lastError);
    void ShakeHands();
    void Read();
    bool HandOverFrame();
    void EnqueueLocked(const std::string& text);
    void Write();
    void CloseWhenWritten();
    void End(const boost::system::error_code& reason);

    Owner* owner_;
    boost::beast::websocket::stream<boost::beast::tcp_stream> stream_;
    boost::asio::steady_timer closeTimer_;
    std::vector<Endpoint> endpoints_;
    std::size_t nextEndpoint_ = 0;
    boost::beast::flat_buffer readBuffer_;
    bool connected_ = false;
    bool closing_ = false;
    bool ended_ = false;

    boost::mutex mutex_;
    bool open_ = false;
    bool writing_ = false;
    std::deque<std::string> queue_;  ///< the front one is being written while `writing_` is set
    std::size_t queuedBytes_ = 0;
};

}  // namespace Ostra
