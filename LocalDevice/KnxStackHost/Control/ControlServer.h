#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/thread.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <stdexcept>
#include <string>

#include "Output/HostEvents.h"

namespace LocalDevice {

class ControlConnection;

/// No control socket: `what()` is one line that names the path, what is wrong and what was expected.
class ControlSocketError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The control socket: takes requests, one JSON object a line, and answers them; README.md describes both. One thread
/// serves all connections; each of them executes its requests on one more.
class ControlServer {
public:
    /// Answers a request; called on several threads at once. Throws nothing.
    using Executor = std::function<nlohmann::json(const nlohmann::json& request)>;

    /// Listens at `path`; a socket file that nobody listens at any more is replaced. `events` must outlive the object.
    /// Throws `ControlSocketError`, and `boost::thread_resource_error` with nothing left behind.
    ControlServer(std::string path, HostEvents& events, Executor execute);

    /// Waits for the requests that are executed.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

private:
    using Protocol = boost::asio::local::stream_protocol;

    static constexpr std::size_t MaxConnections = 64;

    void Accept();
    void AcceptAfterPause();
    void Serve(Protocol::socket socket);

    const std::string path_;
    HostEvents& events_;
    const Executor execute_;

    boost::asio::io_context io_{1};

    // Of the serving thread only.
    Protocol::acceptor acceptor_{io_};
    boost::asio::steady_timer retry_{io_};
    std::set<std::shared_ptr<ControlConnection>> connections_;

    boost::thread thread_;
};

}  // namespace LocalDevice
