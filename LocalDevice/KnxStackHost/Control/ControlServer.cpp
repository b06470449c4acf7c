#include "Control/ControlServer.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

#include "Control/ControlConnection.h"

namespace LocalDevice {

namespace {

using Protocol = boost::asio::local::stream_protocol;

constexpr std::chrono::milliseconds AcceptPause{100};
constexpr std::size_t LongestPath = sizeof(sockaddr_un::sun_path) - 1;

/// Removes the socket file of a process that is gone.
void RemoveStaleSocket(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw ControlSocketError(path + ": this is no socket; expected a path for the control socket");
    }
    boost::asio::io_context io;
    Protocol::socket probe(io);
    boost::system::error_code error;
    probe.connect(Protocol::endpoint(path), error);
    if (!error || error == boost::asio::error::would_block) {
        throw ControlSocketError(path + ": the control socket is in use; expected one path for each host");
    }
    if (error != boost::asio::error::connection_refused) {
        throw ControlSocketError(path + ": the control socket cannot be made: " + error.message());
    }
    unlink(path.c_str());
}

void Listen(Protocol::acceptor& acceptor, const std::string& path) {
    try {
        acceptor.open();
        const auto oldMask = umask(S_IRWXG | S_IRWXO);  // for this user only
        boost::system::error_code error;
        acceptor.bind(Protocol::endpoint(path), error);
        umask(oldMask);
        if (error) {
            throw boost::system::system_error(error);
        }
        acceptor.listen();
    } catch (const boost::system::system_error& error) {
        throw ControlSocketError(path + ": the control socket cannot be made: " + error.code().message());
    }
}

}  // namespace

ControlServer::ControlServer(std::string path, HostEvents& events, Executor execute)
    : path_(std::move(path)), events_(events), execute_(std::move(execute)) {
    if (path_.empty() || path_.size() > LongestPath) {
        throw ControlSocketError(path_ + ": the path of the control socket has " + std::to_string(path_.size()) +
                                 " bytes; expected 1 to " + std::to_string(LongestPath));
    }
    RemoveStaleSocket(path_);
    Listen(acceptor_, path_);
    Accept();
    try {
        thread_ = boost::thread([this] { io_.run(); });
    } catch (const boost::thread_resource_error&) {
        unlink(path_.c_str());
        throw;
    }
}

ControlServer::~ControlServer() {
    unlink(path_.c_str());
    boost::asio::post(io_, [this] {
        acceptor_.close();
        retry_.cancel();
        for (const auto& connection : connections_) {
            connection->Close();
        }
        connections_.clear();
    });
    thread_.join();
}

void ControlServer::Accept() {
    acceptor_.async_accept([this](const boost::system::error_code& error, Protocol::socket socket) {
        if (!acceptor_.is_open()) {
            return;
        }
        if (error) {
            AcceptAfterPause();
            return;
        }
        Serve(std::move(socket));
        Accept();
    });
}

/// No descriptor is left, or the like: that does not pass at once.
void ControlServer::AcceptAfterPause() {
    retry_.expires_after(AcceptPause);
    retry_.async_wait([this](const boost::system::error_code&) {
        if (acceptor_.is_open()) {
            Accept();
        }
    });
}

void ControlServer::Serve(Protocol::socket socket) {
    const bool isTooMany = connections_.size() >= MaxConnections;
    const auto connection = std::make_shared<ControlConnection>(
        std::move(socket), events_, execute_,
        [this](const std::shared_ptr<ControlConnection>& ended) { connections_.erase(ended); });
    connections_.insert(connection);
    if (isTooMany) {
        connection->Reject("too many connections");
    } else {
        connection->Start();
    }
}

}  // namespace LocalDevice
