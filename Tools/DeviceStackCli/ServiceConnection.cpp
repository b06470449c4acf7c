#include "ServiceConnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <csignal>
#include <string_view>
#include <utility>

namespace LocalDevice {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;

constexpr std::chrono::seconds ConnectLimit{5};
constexpr std::chrono::seconds RequestLimit{10};
/// Without a sign of life; a ping asks for one after half of it.
constexpr std::chrono::seconds IdleLimit{60};

void Check(const error_code& error, const std::string& what) {
    if (error) {
        throw ServiceError(what + ": " + error.message());
    }
}

}  // namespace

ServiceConnection::ServiceConnection(const std::string& host, const std::string& port)
    : address_(host + ":" + port), signals_(io_), socket_(io_) {
    const std::string what = "cannot connect to " + address_;
    error_code error;
    const auto endpoints = tcp::resolver(io_).resolve(host, port, error);
    Check(error, what);
    Check(Await(
              [this, &endpoints](const Handler& handler) {
                  beast::get_lowest_layer(socket_).async_connect(
                      endpoints, [handler](const error_code& outcome, const tcp::endpoint&) { handler(outcome); });
              },
              ConnectLimit),
          what);
    beast::get_lowest_layer(socket_).socket().set_option(tcp::no_delay(true), error);
    socket_.set_option(websocket::stream_base::timeout{ConnectLimit, IdleLimit, true});
    socket_.read_message_max(0);
    Check(Await([this](const Handler& handler) { socket_.async_handshake(address_, "/", handler); }, ConnectLimit),
          what);
}

ServiceConnection::Json ServiceConnection::Request(const std::string& command, const Json& members) {
    Json request{{"request", ++lastRequest_}, {"command", command}};
    request.update(members);
    const std::string text = request.dump();
    Check(Await(
              [this, &text](const Handler& handler) {
                  socket_.async_write(boost::asio::buffer(text),
                                      [handler](const error_code& outcome, std::size_t) { handler(outcome); });
              },
              RequestLimit),
          "lost " + address_);
    for (;;) {
        Json message = ReceiveMessage(RequestLimit);
        if (message.contains("event")) {
            events_.push_back(std::move(message));
            continue;
        }
        if (message.contains("error")) {
            throw ServiceError(command + " refused: " + message["error"].get<std::string>());
        }
        if (message.value("request", 0U) == lastRequest_) {
            return message.at("response");
        }
    }
}

void ServiceConnection::CatchEndSignals() {
    signals_.add(SIGINT);
    signals_.add(SIGTERM);
}

std::optional<ServiceConnection::Json> ServiceConnection::ReceiveEvent() {
    if (!events_.empty()) {
        Json event = std::move(events_.front());
        events_.pop_front();
        return event;
    }
    signals_.async_wait([this](const error_code& error, int) {
        if (!error) {
            isEndWanted_ = true;
            CloseSocket();
        }
    });
    try {
        Json event = ReceiveMessage(std::nullopt);
        signals_.cancel();
        return event;
    } catch (const ServiceError&) {
        if (isEndWanted_) {
            return std::nullopt;
        }
        throw;
    }
}

ServiceConnection::Json ServiceConnection::ReceiveMessage(std::optional<std::chrono::milliseconds> limit) {
    beast::flat_buffer buffer;
    Check(Await(
              [this, &buffer](const Handler& handler) {
                  socket_.async_read(buffer, [handler](const error_code& outcome, std::size_t) { handler(outcome); });
              },
              limit),
          "lost " + address_);
    const std::string_view text(static_cast<const char*>(buffer.data().data()), buffer.size());
    Json message = Json::parse(text, nullptr, false);
    if (!message.is_object()) {
        throw ServiceError(address_ + " does not speak as a device stack does");
    }
    return message;
}

error_code ServiceConnection::Await(const std::function<void(Handler)>& start,
                                    std::optional<std::chrono::milliseconds> limit) {
    std::optional<error_code> outcome;
    start([&outcome](const error_code& error) { outcome = error; });
    io_.restart();
    if (limit) {
        const auto deadline = std::chrono::steady_clock::now() + *limit;
        while (!outcome && io_.run_one_until(deadline) != 0) {
        }
        if (!outcome) {
            CloseSocket();
            io_.run();
            return boost::asio::error::timed_out;
        }
    }
    while (!outcome) {
        io_.run_one();
    }
    return *outcome;
}

void ServiceConnection::CloseSocket() {
    beast::get_lowest_layer(socket_).close();
}

}  // namespace LocalDevice
