#include "DeviceStackLink.h"

#include <sys/socket.h>

#include <array>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/thread/lock_guard.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

#include "LocalSocket.h"
#include "WebSocketFrame.h"

namespace Ostra {
namespace {

using boost::system::error_code;
namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

constexpr std::size_t LongestFrame = std::size_t{64} << 20U;
constexpr std::size_t LongestQueue = std::size_t{64} << 20U;

/// A socket that no program started by this process inherits.
template <typename Socket>
error_code OpenSocket(Socket& socket, const asio::generic::stream_protocol& protocol) {
    const int descriptor = ::socket(protocol.family(), protocol.type() | SOCK_CLOEXEC, protocol.protocol());
    if (descriptor < 0) {
        return {errno, boost::system::system_category()};
    }
    error_code error;
    socket.assign(protocol, descriptor, error);
    return error;
}

/// One that nobody can foresee. Many at once are got from the kernel.
std::uint32_t MakeMaskingKey() {
    thread_local std::array<std::uint32_t, 64> keys{};
    thread_local std::size_t left = 0;
    if (left == 0) {
        arc4random_buf(keys.data(), sizeof(keys));
        left = keys.size();
    }
    return keys.at(--left);
}

}  // namespace

DeviceStackLink::DeviceStackLink(asio::io_context& context, Owner& owner)
    : owner_(&owner),
      stream_(
          context,
          [this](std::string bytes) {
              const boost::lock_guard<boost::mutex> lock(mutex_);
              WriteLocked(std::move(bytes));
          },
          [this] { ForgetSocket(); }),
      closeTimer_(context) {
    stream_.read_message_max(LongestFrame);
}

void DeviceStackLink::Connect(const std::vector<Endpoint>& endpoints, std::chrono::steady_clock::duration timeout) {
    for (const Endpoint& endpoint : endpoints) {
        const auto host = boost::lexical_cast<std::string>(endpoint);
        if (endpoint.address().is_loopback()) {
            addresses_.push_back({MakeLocalEndpoint(endpoint), host});
        }
        addresses_.push_back({endpoint, host});
    }
    stream_.next_layer().expires_after(timeout);
    asio::post(stream_.get_executor(), [self = shared_from_this()] { self->TryAddress(asio::error::host_not_found); });
}

void DeviceStackLink::TryAddress(const error_code& lastError) {
    if (ended_) {
        return;
    }
    if (addresses_.empty()) {
        End(lastError);
        return;
    }
    const auto endpoint = addresses_.front().endpoint;
    auto& transport = stream_.next_layer();
    error_code ignored;
    transport.socket().close(ignored);
    if (const auto error = OpenSocket(transport.socket(), endpoint.protocol())) {
        TryNextAddress(error);
        return;
    }
    transport.async_connect(endpoint, [self = shared_from_this()](const error_code& error) {
        if (error == boost::beast::error::timeout) {
            self->End(error);
        } else if (error) {
            self->TryNextAddress(error);
        } else {
            self->OnConnected();
        }
    });
}

void DeviceStackLink::TryNextAddress(const error_code& lastError) {
    addresses_.pop_front();
    TryAddress(lastError);
}

void DeviceStackLink::OnConnected() {
    if (ended_) {
        return;
    }
    auto& socket = stream_.next_layer().socket();
    const int descriptor = socket.native_handle();
    if (addresses_.front().endpoint.protocol().family() == AF_UNIX && !IsPeerTrusted(descriptor)) {
        TryNextAddress(asio::error::no_permission);
        return;
    }
    error_code ignored;
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        descriptor_ = descriptor;
    }
    stream_.async_handshake(addresses_.front().host, "/", [self = shared_from_this()](const error_code& error) {
        if (error || self->ended_) {
            self->End(error);
            return;
        }
        self->connected_ = true;
        self->stream_.next_layer().expires_never();
        self->owner_->OnLinkConnected();
        self->Read();
    });
}

void DeviceStackLink::Open(const std::vector<std::string>& firstMessages) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    open_ = true;
    for (const auto& message : firstMessages) {
        WriteLocked(EncodeBinaryFrame(message, MakeMaskingKey()));
    }
}

int DeviceStackLink::GetDescriptor() {
    return connected_ && !ended_ ? stream_.next_layer().socket().native_handle() : -1;
}

void DeviceStackLink::Read() {
    stream_.async_read(readBuffer_, [self = shared_from_this()](const error_code& error, std::size_t /*size*/) {
        if (error || self->ended_) {
            self->End(error);
            return;
        }
        if (self->HandOverFrame()) {
            self->Read();
        }
    });
}

bool DeviceStackLink::HandOverFrame() {
    try {
        const std::string text = boost::beast::buffers_to_string(readBuffer_.data());
        readBuffer_.consume(readBuffer_.size());
        owner_->OnLinkFrame(text);
        return true;
    } catch (const std::bad_alloc&) {
        End(asio::error::no_memory);
        return false;
    }
}

bool DeviceStackLink::Send(const std::string& message) {
    std::string frame = EncodeBinaryFrame(message, MakeMaskingKey());
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!open_) {
        return false;
    }
    if (outgoing_.GetSize() >= LongestQueue) {
        open_ = false;
        owner_->Post([self = shared_from_this()] { self->End(asio::error::no_buffer_space); });
        return false;
    }
    WriteLocked(std::move(frame));
    return true;
}

/// What cannot be sent at once waits, also where the socket is broken: the thread that runs the context finds out.
void DeviceStackLink::WriteLocked(std::string bytes) {
    const bool isFirst = outgoing_.IsEmpty();
    outgoing_.Add(std::move(bytes));
    if (isFirst && outgoing_.SendTo(descriptor_)) {
        owner_->Post([self = shared_from_this()] { self->WriteQueued(); });
    }
}

void DeviceStackLink::WriteQueued() {
    if (ended_) {
        return;
    }
    stream_.next_layer().socket().async_wait(asio::socket_base::wait_write,
                                             [self = shared_from_this()](const error_code& error) {
                                                 if (error || self->ended_) {
                                                     self->End(error);
                                                     return;
                                                 }
                                                 self->SendQueued();
                                             });
}

void DeviceStackLink::SendQueued() {
    error_code error;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        error = outgoing_.SendTo(descriptor_);
    }
    if (error == asio::error::would_block) {
        WriteQueued();
    } else if (error) {
        End(error);
    }
}

void DeviceStackLink::Close(std::chrono::steady_clock::duration timeout) {
    if (!connected_ || ended_) {
        End(asio::error::operation_aborted);
        return;
    }
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        open_ = false;
    }
    closeTimer_.expires_after(timeout);
    closeTimer_.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error) {
            self->End(asio::error::timed_out);
        }
    });
    // Goes out after what is queued.
    stream_.async_close(websocket::close_code::normal,
                        [self = shared_from_this()](const error_code& error) { self->End(error); });
}

/// Before it is closed: its number may soon be another one's.
void DeviceStackLink::ForgetSocket() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    open_ = false;
    descriptor_ = -1;
}

void DeviceStackLink::End(const error_code& reason) {
    if (std::exchange(ended_, true)) {
        return;
    }
    ForgetSocket();
    closeTimer_.cancel();
    stream_.next_layer().close();
    owner_->OnLinkEnded(reason);
}

}  // namespace Ostra
