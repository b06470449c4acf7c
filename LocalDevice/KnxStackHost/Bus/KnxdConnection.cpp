#include "Bus/KnxdConnection.h"

#include <eibclient.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace LocalDevice {

namespace {

constexpr timeval AnswerTimeout{2, 0};  // of a knxd that is there but stands still

std::string LastError() {
    return std::error_code(errno, std::generic_category()).message();
}

/// The client library opens plain blocking sockets.
void PrepareSocket(int descriptor) {
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &AnswerTimeout, sizeof(AnswerTimeout));
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &AnswerTimeout, sizeof(AnswerTimeout));
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

}  // namespace

void KnxdConnection::Closer::operator()(_EIBConnection* connection) const {
    EIBClose(connection);
}

KnxdConnection::KnxdConnection(const std::string& url) {
    errno = 0;
    connection_.reset(EIBSocketURL(url.c_str()));
    if (!connection_) {
        throw BusError("no knxd at " + url + ": " + LastError());
    }
    PrepareSocket(GetDescriptor());
    if (EIBOpen_GroupSocket(connection_.get(), 0) == -1) {
        throw BusError("knxd at " + url + " opens no group connection: " + LastError() +
                       "; it needs a free client address (its option -E)");
    }
}

int KnxdConnection::GetDescriptor() const {
    return EIB_Poll_FD(connection_.get());
}

bool KnxdConnection::Receive(std::optional<Telegram>& telegram) {
    // A telegram comes in two parts, its length and its content, mostly together. One call takes one part.
    int completed = EIB_Poll_Complete(connection_.get());
    if (completed == 0) {
        completed = EIB_Poll_Complete(connection_.get());
    }
    if (completed != 1) {
        return completed == 0;
    }
    std::array<std::uint8_t, MaxValueBytes + 2> apdu{};
    eibaddr_t source = 0;
    eibaddr_t groupAddress = 0;
    const int size =
        EIBGetGroup_Src(connection_.get(), static_cast<int>(apdu.size()), apdu.data(), &source, &groupAddress);
    if (size < 0) {
        return false;
    }
    telegram = DecodeApdu(apdu.data(), static_cast<std::size_t>(size));
    if (telegram) {
        telegram->source = source;
        telegram->groupAddress = groupAddress;
    }
    return true;
}

bool KnxdConnection::IsReadyToSend() const {
    // A socket says so only when there is room for far more than a telegram.
    pollfd descriptor{GetDescriptor(), POLLOUT, 0};
    return poll(&descriptor, 1, 0) == 1;
}

bool KnxdConnection::Send(const Telegram& telegram) {
    const auto apdu = EncodeApdu(telegram);
    return EIBSendGroup(connection_.get(), telegram.groupAddress, static_cast<int>(apdu.size()), apdu.data()) != -1;
}

}  // namespace LocalDevice
