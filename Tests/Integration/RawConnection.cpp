#include "RawConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace IntegrationTest {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds SendLimit{20000};

int GetPollLimit(SteadyClock::time_point deadline) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
    return static_cast<int>(std::max(rest, std::chrono::milliseconds(0)).count());
}

}  // namespace

RawConnection::RawConnection(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        close(socket_);
        throw std::system_error(error, std::generic_category(), "connect");
    }
    const int one = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
}

RawConnection::~RawConnection() {
    close(socket_);
}

bool RawConnection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        pollfd polled{socket_, POLLOUT, 0};
        if (poll(&polled, 1, static_cast<int>(SendLimit.count())) <= 0) {
            return false;
        }
        const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::string RawConnection::ReceiveUntil(std::string_view part, std::chrono::milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    while (received_.find(part) == std::string::npos && ReceiveSome(deadline)) {
    }
    return received_;
}

std::string RawConnection::ReceiveToEnd(std::chrono::milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    while (ReceiveSome(deadline)) {
    }
    return received_;
}

bool RawConnection::WaitForEnd(std::chrono::milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    while (ReceiveSome(deadline)) {
    }
    return SteadyClock::now() < deadline;
}

bool RawConnection::ReceiveSome(SteadyClock::time_point deadline) {
    std::array<char, 65536> buffer{};
    pollfd polled{socket_, POLLIN, 0};
    if (poll(&polled, 1, GetPollLimit(deadline)) <= 0) {
        return false;
    }
    const ssize_t size = recv(socket_, buffer.data(), buffer.size(), 0);
    if (size > 0) {
        received_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return size > 0;
}

void RawConnection::EndOutput() {
    shutdown(socket_, SHUT_WR);
}

void RawConnection::ResetAtEnd() {
    const linger reset{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
}

std::string RawConnection::GetUpgradeRequest(std::string_view additionalHeaders) {
    return "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n" +
           std::string(additionalHeaders) + "\r\n";
}

bool RawConnection::Upgrade() {
    if (!Send(GetUpgradeRequest())) {
        return false;
    }
    const std::string answer = ReceiveUntil("\r\n\r\n");
    received_.clear();
    return answer.find("HTTP/1.1 101") == 0;
}

std::string RawConnection::MakeFrame(unsigned opcode, std::string_view payload, bool isFinal) {
    return MakeFrameHeader(opcode, payload.size(), isFinal).append(payload);
}

std::string RawConnection::MakeFrameHeader(unsigned opcode, std::uint64_t length, bool isFinal) {
    constexpr unsigned Final = 0x80;
    constexpr unsigned Masked = 0x80;
    constexpr unsigned SixteenBits = 126;
    constexpr unsigned SixtyFourBits = 127;
    std::string header(1, static_cast<char>((isFinal ? Final : 0U) | opcode));
    unsigned lengthBytes = 0;
    if (length < SixteenBits) {
        header += static_cast<char>(Masked | length);
    } else if (length <= 0xFFFF) {
        header += static_cast<char>(Masked | SixteenBits);
        lengthBytes = 2;
    } else {
        header += static_cast<char>(Masked | SixtyFourBits);
        lengthBytes = 8;
    }
    for (unsigned i = lengthBytes; i > 0; --i) {
        header += static_cast<char>(length >> (8 * (i - 1)));
    }
    return header + std::string(4, '\0');
}

}  // namespace IntegrationTest
