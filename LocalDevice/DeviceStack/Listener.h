#pragma once

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <utility>

namespace LocalDevice {

/// Accepts connections on one end point. Used by the io thread only.
template <typename Protocol>
class Listener {
public:
    using Endpoint = typename Protocol::endpoint;
    using SocketHandler = std::function<void(boost::asio::generic::stream_protocol::socket)>;

    /// Binds to `endpoint` and accepts as soon as `io` runs, until closed. Throws `boost::system::system_error` where
    /// the end point cannot be had.
    Listener(boost::asio::io_context& io, const Endpoint& endpoint, log4cplus::Logger logger, SocketHandler onSocket)
        : logger_(std::move(logger)), onSocket_(std::move(onSocket)), acceptor_(io, endpoint), timer_(io) {
        Accept();
    }

    Endpoint GetEndpoint() const { return acceptor_.local_endpoint(); }

    void Close() {
        acceptor_.close();
        timer_.cancel();
    }

private:
    using Socket = typename Protocol::socket;

    void Accept() {
        acceptor_.async_accept([this](const boost::system::error_code& error, Socket socket) {
            if (!acceptor_.is_open()) {
                return;
            }
            if (error) {
                LOG4CPLUS_WARN(logger_, "Cannot accept a client: " << error.message());
                return AcceptAfterPause();
            }
            onSocket_(std::move(socket));
            Accept();
        });
    }

    /// There may be no descriptor left.
    void AcceptAfterPause() {
        constexpr std::chrono::milliseconds Pause{100};
        timer_.expires_after(Pause);
        timer_.async_wait([this](const boost::system::error_code& error) {
            if (!error && acceptor_.is_open()) {
                Accept();
            }
        });
    }

    const log4cplus::Logger logger_;
    const SocketHandler onSocket_;
    boost::asio::basic_socket_acceptor<Protocol> acceptor_;
    boost::asio::steady_timer timer_;
};

}  // namespace LocalDevice
