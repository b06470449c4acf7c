#include "SupervisorServer.h"

#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/system_error.hpp>
#include <list>
#include <stdexcept>
#include <utility>

#include "RunDirectory.h"

namespace LocalDevice {

namespace {

using Protocol = boost::asio::local::stream_protocol;

constexpr std::size_t LongestRequest = 4096;

/// A launcher that was killed leaves its socket behind.
const std::string& FreedPath(const std::string& path) {
    const bool isSocket = boost::filesystem::status(path).type() == boost::filesystem::socket_file;
    if (isSocket && !IsListening(path)) {
        boost::filesystem::remove(path);
    }
    return path;
}

Protocol::acceptor Listen(boost::asio::io_context& io, const std::string& path) {
    try {
        return {io, Protocol::endpoint(FreedPath(path)), false};
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error(path + ": the socket cannot be made: " + error.code().message());
    }
}

pid_t GetPeer(Protocol::socket& socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    const int result = getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &credentials, &size);
    return result == 0 ? credentials.pid : 0;
}

}  // namespace

class SupervisorServer::Core : public std::enable_shared_from_this<Core> {
public:
    Core(boost::asio::io_context& io, const std::string& path, Handler handler)
        : acceptor_(Listen(io, path)), handler_(std::move(handler)) {}

    void Accept() {
        acceptor_.async_accept(
            [self = shared_from_this()](const boost::system::error_code& error, Protocol::socket socket) {
                if (error == boost::asio::error::operation_aborted || !self->acceptor_.is_open()) {
                    return;
                }
                if (!error) {
                    const auto session = self->sessions_.emplace(self->sessions_.end(), std::move(socket));
                    self->Read(session);
                }
                self->Accept();
            });
    }

    void Close() {
        handler_ = nullptr;
        boost::system::error_code ignored;
        acceptor_.close(ignored);
        for (Session& session : sessions_) {
            session.socket.close(ignored);
        }
    }

private:
    struct Session {
        explicit Session(Protocol::socket s) : socket(std::move(s)), peer(GetPeer(socket)) {}
        Protocol::socket socket;
        pid_t peer;
        std::string buffer;
    };
    using SessionPosition = std::list<Session>::iterator;

    void Read(SessionPosition session) {
        boost::asio::async_read_until(
            session->socket, boost::asio::dynamic_buffer(session->buffer, LongestRequest), '\n',
            [self = shared_from_this(), session](const boost::system::error_code& error, std::size_t length) {
                if (error || !self->handler_) {
                    self->sessions_.erase(session);
                    return;
                }
                const std::string line = session->buffer.substr(0, length - 1);
                session->buffer.erase(0, length);
                self->Read(session);
                self->handler_(ParseSupervisorRequest(line), session->peer);
            });
    }

    Protocol::acceptor acceptor_;
    Handler handler_;
    std::list<Session> sessions_;
};

SupervisorServer::SupervisorServer(boost::asio::io_context& io, const std::string& path, Handler handler)
    : core_(std::make_shared<Core>(io, path, std::move(handler))) {
    core_->Accept();
}

SupervisorServer::~SupervisorServer() {
    core_->Close();
}

}  // namespace LocalDevice
