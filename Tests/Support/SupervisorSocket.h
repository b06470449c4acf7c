#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <optional>
#include <string>

#include "TemporaryFolder.h"

namespace TestSupport {

/// The device's supervisor, as far as somebody sends it requests.
class SupervisorSocket {
public:
    using Protocol = boost::asio::local::stream_protocol;

    std::string GetPath() const { return folder_.At("supervisor"); }

    void Listen(int backlog = 8) {
        acceptor_.emplace(context_);
        acceptor_->open();
        acceptor_->bind(Protocol::endpoint(GetPath()));
        acceptor_->listen(backlog);
    }

    /// Everything that the next client sends before it closes the connection; a failure where none comes.
    std::string Receive() {
        constexpr int PatienceMs = 30'000;
        pollfd client{acceptor_->native_handle(), POLLIN, 0};
        if (poll(&client, 1, PatienceMs) != 1) {
            ADD_FAILURE() << "nobody connects";
            return {};
        }
        Protocol::socket socket(context_);
        acceptor_->accept(socket);
        std::string text;
        boost::system::error_code end;
        boost::asio::read(socket, boost::asio::dynamic_buffer(text), end);
        EXPECT_EQ(end, boost::asio::error::eof);
        return text;
    }

    Protocol::socket Connect() {
        Protocol::socket socket(context_);
        socket.connect(Protocol::endpoint(GetPath()));
        return socket;
    }

private:
    const TemporaryFolder folder_;
    boost::asio::io_context context_;
    std::optional<Protocol::acceptor> acceptor_;
};

}  // namespace TestSupport
