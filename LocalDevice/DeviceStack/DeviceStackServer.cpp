#include "DeviceStackServer.h"

#include <log4cplus/loggingmacros.h>

#include <utility>

namespace LocalDevice {

namespace {

using boost::asio::ip::tcp;

/// Between two attempts to accept while there is no descriptor left.
constexpr std::chrono::milliseconds AcceptPause{100};

}  // namespace

DeviceStackServer::DeviceStackServer(boost::asio::io_context& io, const tcp::endpoint& endpoint,
                                     RequestDispatcher& dispatcher, const ConnectionLimits& limits,
                                     const log4cplus::Logger& logger)
    : limits_(limits), logger_(logger), io_(io), dispatcher_(dispatcher), acceptor_(io, endpoint), timer_(io) {
    Accept();
}

void DeviceStackServer::Stop() {
    isStopping_ = true;
    acceptor_.close();
    timer_.expires_after(limits_.close);
    timer_.async_wait([this](const boost::system::error_code&) { io_.stop(); });
    if (sessions_.empty()) {
        io_.stop();
    }
    const auto sessions = sessions_;
    for (const auto& [key, session] : sessions) {
        session->Close();
    }
}

void DeviceStackServer::Accept() {
    acceptor_.async_accept(
        [this](const boost::system::error_code& error, tcp::socket socket) { OnAccepted(error, std::move(socket)); });
}

void DeviceStackServer::OnAccepted(const boost::system::error_code& error, tcp::socket socket) {
    if (isStopping_) {
        return;
    }
    if (error) {
        LOG4CPLUS_WARN(logger_, "Cannot accept a client: " << error.message());
        timer_.expires_after(AcceptPause);
        timer_.async_wait([this](const boost::system::error_code& aborted) {
            if (!aborted) {
                Accept();
            }
        });
        return;
    }
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::make_shared<HttpConnection>(std::move(socket), limits_,
                                     [this](boost::beast::tcp_stream stream, const UpgradeRequest& request) {
                                         StartSession(std::move(stream), request);
                                     })
        ->Start();
    Accept();
}

void DeviceStackServer::StartSession(boost::beast::tcp_stream stream, const UpgradeRequest& request) {
    if (isStopping_) {
        return;
    }
    const auto session = std::make_shared<ClientSession>(std::move(stream), dispatcher_, limits_, logger_,
                                                         [this](ClientSession& ended) { OnSessionEnd(ended); });
    sessions_.emplace(session.get(), session);
    session->Start(request);
}

void DeviceStackServer::OnSessionEnd(ClientSession& session) {
    sessions_.erase(&session);
    if (isStopping_ && sessions_.empty()) {
        io_.stop();
    }
}

}  // namespace LocalDevice
