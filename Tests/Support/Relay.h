#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/thread/thread_only.hpp>

namespace TestSupport {

/// Stands between one client and a service on this machine, and can cut them off from each other.
class Relay {
public:
    explicit Relay(unsigned short port) {
        acceptor_.async_accept(client_, [this, port](const boost::system::error_code& error) {
            if (!error) {
                service_.connect({boost::asio::ip::address_v4::loopback(), port});
                Pass(client_, service_, fromClient_);
                Pass(service_, client_, fromService_);
            }
        });
        thread_ = boost::thread([this] { context_.run(); });
    }
    ~Relay() {
        context_.stop();
        thread_.join();
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    unsigned short GetPort() const { return port_; }

    /// Ends the connection to the service; the client's stays as it is.
    void CutService() {
        boost::asio::post(context_, [this] { service_.close(); });
    }

private:
    using Socket = boost::asio::ip::tcp::socket;
    using Buffer = std::array<char, 4096>;

    static void Pass(Socket& from, Socket& to, Buffer& buffer) {
        from.async_read_some(boost::asio::buffer(buffer),
                             [&from, &to, &buffer](const boost::system::error_code& error, std::size_t size) {
                                 boost::system::error_code ignored;  // what comes for a service that is cut off is lost
                                 if (!error) {
                                     boost::asio::write(to, boost::asio::buffer(buffer, size), ignored);
                                     Pass(from, to, buffer);
                                 }
                             });
    }

    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    Socket client_{context_};
    Socket service_{context_};
    Buffer fromClient_{};
    Buffer fromService_{};
    const unsigned short port_ = acceptor_.local_endpoint().port();
    boost::thread thread_;
};

}  // namespace TestSupport
