#include "Zandrel/OrnIpcClientImpl.h"

#include <log4cplus/loggingmacros.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "Zandrel/Logging.h"

namespace Zandrel {
namespace {

/// How long connecting and sending wait for a supervisor that does not take the request.
constexpr timeval SocketTimeout{1, 0};

class UnixSocket {
public:
    UnixSocket() noexcept : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~UnixSocket() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    UnixSocket(const UnixSocket&) = delete;
    UnixSocket& operator=(const UnixSocket&) = delete;

    std::error_code Connect(const sockaddr_un& address) const noexcept {
        if (descriptor_ < 0 ||
            ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &SocketTimeout, sizeof(SocketTimeout)) != 0) {
            return LastError();
        }
        int result = 0;
        do {
            result = ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        } while (result != 0 && errno == EINTR);
        return result == 0 ? std::error_code() : LastError();
    }

    std::error_code SendAll(const std::string& text) const noexcept {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count = ::send(descriptor_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count >= 0) {
                sent += static_cast<std::size_t>(count);
            } else if (errno != EINTR) {
                return LastError();
            }
        }
        return {};
    }

private:
    static std::error_code LastError() noexcept { return {errno, std::generic_category()}; }

    int descriptor_;
};

std::error_code SendLine(const std::string& path, const std::string& line) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return std::make_error_code(std::errc::filename_too_long);
    }
    std::memcpy(address.sun_path, path.data(), path.size());

    const UnixSocket socket;
    if (const auto error = socket.Connect(address)) {
        return error;
    }
    return socket.SendAll(line);
}

}  // namespace

/// One line of JSON for each request, on a connection of its own to the Unix stream socket that ORN_SUPERVISOR names.
class OrnIpcClientImpl::Implementation {
public:
    Implementation(int ownProcess, int supervisorProcess)
        : route_(",\"from\":" + std::to_string(ownProcess) + ",\"to\":" + std::to_string(supervisorProcess) + "}\n") {
        if (const char* const path = std::getenv("ORN_SUPERVISOR")) {
            path_ = path;
        }
    }

    void Send(const std::string& request) const {
        if (path_.empty()) {
            LOG4CPLUS_ERROR(GetGlobalDefaultLogger(), "No supervisor: ORN_SUPERVISOR names no socket.");
            return;
        }
        if (const auto error = SendLine(path_, "{\"request\":" + request + route_)) {
            LOG4CPLUS_ERROR(GetGlobalDefaultLogger(), "Supervisor at '"
                                                          << path_ << "' cannot be reached: " << error.message() << " ("
                                                          << error.category().name() << ':' << error.value() << ')');
        }
    }

private:
    std::string route_;
    std::string path_;
};

OrnIpcClientImpl::OrnIpcClientImpl(int ownProcess, int supervisorProcess)
    : implementation_(std::make_unique<Implementation>(ownProcess, supervisorProcess)) {}

OrnIpcClientImpl::~OrnIpcClientImpl() = default;

void OrnIpcClientImpl::Restart(bool factoryReset) {
    implementation_->Send(std::string(R"("restart","factoryReset":)") + (factoryReset ? "true" : "false"));
}

void OrnIpcClientImpl::SetRunLedOff() {
    implementation_->Send("\"runLedOff\"");
}

}  // namespace Zandrel
