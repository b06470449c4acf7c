#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace LocalDevice {

/// Why the service cannot be used, or what it refused: one line.
class ServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A synchronous connection to the device stack. Used by one thread.
class ServiceConnection {
public:
    using Json = nlohmann::ordered_json;

    /// Connects. Throws `ServiceError`, at the latest after a few seconds.
    ServiceConnection(const std::string& host, const std::string& port);

    /// Sends a command with its members and returns what the service responds. Throws `ServiceError`, also when no
    /// answer comes within a few seconds.
    Json Request(const std::string& command, const Json& members = Json::object());

    /// From here on SIGINT and SIGTERM end `ReceiveEvent` instead of the process.
    void CatchEndSignals();

    /// The next event; waits for it. None when a signal asked for the end. Throws `ServiceError` where the connection
    /// is lost.
    std::optional<Json> ReceiveEvent();

private:
    using Handler = std::function<void(const boost::system::error_code&)>;

    /// Runs one operation to its end; one that takes longer than `limit` is cut off and gives an error.
    boost::system::error_code Await(const std::function<void(Handler)>& start,
                                    std::optional<std::chrono::milliseconds> limit);
    Json ReceiveMessage(std::optional<std::chrono::milliseconds> limit);
    void CloseSocket();

    const std::string address_;
    boost::asio::io_context io_;
    boost::asio::signal_set signals_;
    boost::beast::websocket::stream<boost::beast::tcp_stream, false> socket_;
    std::deque<Json> events_;  ///< that came while an answer was waited for
    unsigned lastRequest_ = 0;
    bool isEndWanted_ = false;
};

}  // namespace LocalDevice
