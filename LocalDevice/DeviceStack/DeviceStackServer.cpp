#include "DeviceStackServer.h"

#include <log4cplus/loggingmacros.h>

#include <utility>

#include "Ostra/LocalSocket.h"

namespace LocalDevice {

using boost::asio::ip::tcp;

DeviceStackServer::DeviceStackServer(boost::asio::io_context& io, const tcp::endpoint& endpoint,
                                     RequestDispatcher& dispatcher, const ConnectionLimits& limits,
                                     const log4cplus::Logger& logger)
    : limits_(limits),
      logger_(logger),
      io_(io),
      idleWork_(io),
      dispatcher_(dispatcher),
      timer_(io),
      listener_(io, endpoint, logger, [this](Transport::socket_type socket) { StartConnection(std::move(socket)); }) {
    if (GetEndpoint().address().is_loopback()) {
        ListenLocally();
    }
}

/// Clients that find nobody there use the port.
void DeviceStackServer::ListenLocally() {
    try {
        localListener_.emplace(io_, Ostra::MakeLocalEndpoint(GetEndpoint()), logger_,
                               [this](Transport::socket_type socket) { StartConnection(std::move(socket)); });
    } catch (const boost::system::system_error& error) {
        LOG4CPLUS_WARN(logger_, "Only the port can be used, without the local socket: " << error.what());
    }
}

void DeviceStackServer::Stop() {
    isStopping_ = true;
    listener_.Close();
    if (localListener_) {
        localListener_->Close();
    }
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

void DeviceStackServer::StartConnection(Transport::socket_type socket) {
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::make_shared<HttpConnection>(
        std::move(socket), limits_,
        [this](Transport stream, const UpgradeRequest& request) { StartSession(std::move(stream), request); })
        ->Start();
}

void DeviceStackServer::StartSession(Transport stream, const UpgradeRequest& request) {
    if (isStopping_) {
        return;
    }
    const auto session = std::make_shared<ClientSession>(std::move(stream), dispatcher_, idleWork_, limits_, logger_,
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
