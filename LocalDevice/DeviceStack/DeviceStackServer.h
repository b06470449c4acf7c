#pragma once

#include <log4cplus/logger.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "ClientSession.h"
#include "ConnectionLimits.h"
#include "Listener.h"
#include "RequestDispatcher.h"

namespace LocalDevice {

/// Accepts connections and keeps the sessions of all clients. Used by the io thread only, which is a single one.
class DeviceStackServer {
public:
    /// Binds to `endpoint` (port 0: a free one), on loopback also to the local socket that goes with it, and accepts
    /// connections as soon as it runs. `io` and `dispatcher` must outlive the server. Throws
    /// `boost::system::system_error` where the endpoint cannot be had.
    DeviceStackServer(boost::asio::io_context& io, const boost::asio::ip::tcp::endpoint& endpoint,
                      RequestDispatcher& dispatcher, const ConnectionLimits& limits, const log4cplus::Logger& logger);
    DeviceStackServer(const DeviceStackServer&) = delete;
    DeviceStackServer& operator=(const DeviceStackServer&) = delete;

    boost::asio::ip::tcp::endpoint GetEndpoint() const { return listener_.GetEndpoint(); }

    /// Serves until stopped: to be called in place of `run` of `io`.
    void Run() { idleWork_.Run(); }

    /// Accepts nobody any more, takes leave of the clients and, when the last one is gone or the time for it is over,
    /// stops `io`.
    void Stop();

private:
    void ListenLocally();
    void StartConnection(Transport::socket_type socket);
    void StartSession(Transport stream, const UpgradeRequest& request);
    void OnSessionEnd(ClientSession& session);

    const ConnectionLimits limits_;
    const log4cplus::Logger logger_;
    boost::asio::io_context& io_;
    IdleWork idleWork_;
    RequestDispatcher& dispatcher_;
    boost::asio::steady_timer timer_;
    std::unordered_map<ClientSession*, std::shared_ptr<ClientSession>> sessions_;
    bool isStopping_ = false;

    // Last: they call `StartConnection`.
    Listener<boost::asio::ip::tcp> listener_;
    std::optional<Listener<boost::asio::local::stream_protocol>> localListener_;
};

}  // namespace LocalDevice
