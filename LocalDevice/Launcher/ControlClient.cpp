#include "ControlClient.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <deque>
#include <nlohmann/json.hpp>
#include <utility>

namespace LocalDevice {

namespace {

using Protocol = boost::asio::local::stream_protocol;

constexpr std::chrono::milliseconds ReconnectPause{50};
constexpr std::size_t LongestMessage = std::size_t{1} << 20U;

}  // namespace

std::string TextOf(const nlohmann::json& message, const char* key) {
    const auto member = message.find(key);
    return member != message.end() && member->is_string() ? member->get<std::string>() : std::string();
}

class ControlClient::Core : public std::enable_shared_from_this<Core> {
public:
    Core(boost::asio::io_context& io, const std::string& socketPath, Handlers handlers)
        : endpoint_(socketPath), handlers_(std::move(handlers)), socket_(io), retry_(io) {}

    void Connect() {
        socket_.async_connect(endpoint_, [self = shared_from_this()](const boost::system::error_code& error) {
            if (self->isEnded_) {
                return;
            }
            if (error) {
                self->ConnectAfterPause();
                return;
            }
            self->Read();
            self->handlers_.onConnected();
        });
    }

    void Send(std::string line) {
        const bool isIdle = outgoing_.empty();
        outgoing_.push_back(std::move(line));
        if (isIdle) {
            Write();
        }
    }

    void End() {
        isEnded_ = true;
        boost::system::error_code ignored;
        retry_.cancel(ignored);
        socket_.close(ignored);
    }

private:
    void ConnectAfterPause() {
        socket_.close();
        retry_.expires_after(ReconnectPause);
        retry_.async_wait([self = shared_from_this()](const boost::system::error_code& /*error*/) {
            if (!self->isEnded_) {
                self->Connect();
            }
        });
    }

    void Read() {
        boost::asio::async_read_until(
            socket_, boost::asio::dynamic_buffer(incoming_, LongestMessage), '\n',
            [self = shared_from_this()](const boost::system::error_code& error, std::size_t length) {
                if (self->isEnded_) {
                    return;
                }
                if (error) {
                    self->isEnded_ = true;
                    self->handlers_.onClosed();
                    return;
                }
                const auto message = nlohmann::json::parse(self->incoming_.substr(0, length), nullptr, false);
                self->incoming_.erase(0, length);
                self->Read();
                self->handlers_.onMessage(message);
            });
    }

    void Write() {
        boost::asio::async_write(socket_, boost::asio::buffer(outgoing_.front()),
                                 [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                                     // A lost connection is the reader's to report.
                                     if (error || self->isEnded_) {
                                         return;
                                     }
                                     self->outgoing_.pop_front();
                                     if (!self->outgoing_.empty()) {
                                         self->Write();
                                     }
                                 });
    }

    const Protocol::endpoint endpoint_;
    const Handlers handlers_;
    Protocol::socket socket_;
    boost::asio::steady_timer retry_;
    bool isEnded_ = false;
    std::string incoming_;
    std::deque<std::string> outgoing_;
};

ControlClient::ControlClient(boost::asio::io_context& io, const std::string& socketPath, Handlers handlers)
    : core_(std::make_shared<Core>(io, socketPath, std::move(handlers))) {
    core_->Connect();
}

ControlClient::~ControlClient() {
    core_->End();
}

void ControlClient::Send(const nlohmann::json& message) {
    core_->Send(message.dump() + "\n");
}

}  // namespace LocalDevice
