#include "WebSocketClient.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/field.hpp>
#include <stdexcept>
#include <utility>

namespace TestSupport {

namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
namespace websocket = boost::beast::websocket;

/// The outcome of one operation; shared with its handler, which may run late.
struct Outcome {
    bool isDone = false;
    error_code error;
};

}  // namespace

WebSocketClient::WebSocketClient(std::uint16_t port, const std::string& origin)
    : stream_(std::make_unique<Stream>(io_)) {
    const tcp::endpoint endpoint(boost::asio::ip::address_v4::loopback(), port);
    stream_->next_layer().connect(endpoint);
    stream_->next_layer().set_option(tcp::no_delay(true));
    stream_->set_option(websocket::stream_base::decorator([origin](websocket::request_type& request) {
        if (!origin.empty()) {
            request.set(boost::beast::http::field::origin, origin);
        }
    }));
    stream_->read_message_max(0);
    const auto outcome = std::make_shared<Outcome>();
    stream_->async_handshake("127.0.0.1:" + std::to_string(port), "/", [outcome](const error_code& error) {
        outcome->error = error;
        outcome->isDone = true;
    });
    if (!RunUntil(outcome->isDone, DefaultLimit)) {
        outcome->error = boost::asio::error::timed_out;
    }
    if (outcome->error) {
        throw boost::system::system_error(outcome->error);
    }
    isOpen_ = true;
}

WebSocketClient::~WebSocketClient() {
    Disconnect();
}

bool WebSocketClient::Send(std::string_view message, bool isBinary, Milliseconds limit) {
    const auto outcome = std::make_shared<Outcome>();
    stream_->binary(isBinary);
    stream_->async_write(boost::asio::buffer(message.data(), message.size()),
                         [outcome](const error_code& error, std::size_t) {
                             outcome->error = error;
                             outcome->isDone = true;
                         });
    if (!RunUntil(outcome->isDone, limit)) {
        // The message must not be referred to after the return.
        Disconnect();
    }
    return outcome->isDone && !outcome->error;
}

std::optional<std::string> WebSocketClient::Receive(Milliseconds limit) {
    if (!isOpen_) {
        return std::nullopt;
    }
    if (!reading_) {
        reading_ = std::make_shared<Reading>();
        stream_->async_read(reading_->buffer, [reading = reading_](const error_code& error, std::size_t) {
            reading->error = error;
            reading->isDone = true;
        });
    }
    if (!RunUntil(reading_->isDone, limit)) {
        return std::nullopt;
    }
    const std::shared_ptr<Reading> reading = std::exchange(reading_, nullptr);
    if (reading->error) {
        isOpen_ = false;
        return std::nullopt;
    }
    return boost::beast::buffers_to_string(reading->buffer.data());
}

bool WebSocketClient::Close(Milliseconds limit) {
    const auto outcome = std::make_shared<Outcome>();
    stream_->async_close(websocket::close_code::normal, [outcome](const error_code& error) {
        outcome->error = error;
        outcome->isDone = true;
    });
    isOpen_ = false;
    return RunUntil(outcome->isDone, limit) && !outcome->error;
}

bool WebSocketClient::RunUntil(const bool& isDone, Milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    io_.restart();
    while (!isDone && io_.run_one_until(deadline) != 0) {
    }
    return isDone;
}

void WebSocketClient::Disconnect() {
    isOpen_ = false;
    error_code ignored;
    stream_->next_layer().close(ignored);
    io_.restart();
    io_.poll();
}

}  // namespace TestSupport
