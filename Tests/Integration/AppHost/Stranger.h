#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <future>
#include <string>

namespace IntegrationTest {

/// Says something else than what its first client expects: `text` again and again, with a pause before each time.
class Stranger {
public:
    Stranger(std::string text, std::chrono::milliseconds pause) : text_(std::move(text)), pause_(pause) {
        acceptor_.async_accept(client_, [this](const boost::system::error_code& error) {
            accepted_.set_value();
            if (!error) {
                Speak();
            }
        });
        thread_ = boost::thread([this] { context_.run(); });
    }
    ~Stranger() {
        context_.stop();
        thread_.join();
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    unsigned short GetPort() const { return port_; }

    /// False where nobody comes.
    bool AwaitClient() {
        return accepted_.get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    }

private:
    void Speak() {
        timer_.expires_after(pause_);
        timer_.async_wait([this](const boost::system::error_code& /*none*/) {
            boost::asio::async_write(client_, boost::asio::buffer(text_),
                                     [this](const boost::system::error_code& error, std::size_t /*size*/) {
                                         if (!error) {
                                             Speak();
                                         }
                                     });
        });
    }

    const std::string text_;
    const std::chrono::milliseconds pause_;

    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    boost::asio::ip::tcp::socket client_{context_};
    boost::asio::steady_timer timer_{context_};
    std::promise<void> accepted_;
    const unsigned short port_ = acceptor_.local_endpoint().port();
    boost::thread thread_;  ///< the last member: it uses the others from its start on
};

}  // namespace IntegrationTest
