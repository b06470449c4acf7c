#include "DeviceStackLink.h"

#include <sys/socket.h>

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/thread/lock_guard.hpp>
#include <cerrno>
#include <new>
#include <utility>

namespace Ostra {
namespace {

using boost::system::error_code;
namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

constexpr std::size_t LongestFrame = std::size_t{64} << 20U;
constexpr std::size_t LongestQueue = std::size_t{64} << 20U;
constexpr std::size_t WriteBufferSize = std::size_t{64} << 10U;

/// A socket that no program started by this process inherits.
error_code OpenSocket(asio::ip::tcp::socket& socket, const asio::ip::tcp& protocol) {
    const int descriptor = ::socket(protocol.family(), protocol.type() | SOCK_CLOEXEC, protocol.protocol());
    if (descriptor < 0) {
        return {errno, boost::system::system_category()};
    }
    error_code error;
    socket.assign(protocol, descriptor, error);
    return error;
}

}  // namespace

DeviceStackLink::DeviceStackLink(asio::io_context& context, Owner& owner)
    : owner_(&owner), stream_(context), closeTimer_(context) {
    stream_.binary(true);
    stream_.auto_fragment(false);
    stream_.write_buffer_bytes(WriteBufferSize);
    stream_.read_message_max(LongestFrame);
}

void DeviceStackLink::Connect(std::vector<Endpoint> endpoints, std::chrono::steady_clock::duration timeout) {
    endpoints_ = std::move(endpoints);
    stream_.next_layer().expires_after(timeout);
    asio::post(stream_.get_executor(), [self = shared_from_this()] { self->ConnectNext(asio::error::host_not_found); });
}

void DeviceStackLink::ConnectNext(const error_code& lastError) {
    if (ended_) {
        return;
    }
    if (nextEndpoint_ == endpoints_.size()) {
        End(lastError);
        return;
    }
    const Endpoint endpoint = endpoints_[nextEndpoint_++];
    auto& transport = stream_.next_layer();
    error_code ignored;
    transport.socket().close(ignored);
    if (const auto error = OpenSocket(transport.socket(), endpoint.protocol())) {
        ConnectNext(error);
        return;
    }
    transport.async_connect(endpoint, [self = shared_from_this()](const error_code& error) {
        if (error == boost::beast::error::timeout) {
            self->End(error);
        } else if (error) {
            self->ConnectNext(error);
        } else {
            self->ShakeHands();
        }
    });
}

void DeviceStackLink::ShakeHands() {
    if (ended_) {
        return;
    }
    error_code ignored;
    stream_.next_layer().socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    const Endpoint& endpoint = endpoints_[nextEndpoint_ - 1];
    stream_.async_handshake(boost::lexical_cast<std::string>(endpoint), "/",
                            [self = shared_from_this()](const error_code& error) {
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

void DeviceStackLink::Open(const std::vector<std::string>& firstFrames) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    open_ = true;
    for (const auto& frame : firstFrames) {
        EnqueueLocked(frame);
    }
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

bool DeviceStackLink::Send(const std::string& text) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!open_) {
        return false;
    }
    if (queuedBytes_ >= LongestQueue) {
        open_ = false;
        asio::post(stream_.get_executor(), [self = shared_from_this()] { self->End(asio::error::no_buffer_space); });
        return false;
    }
    EnqueueLocked(text);
    return true;
}

void DeviceStackLink::EnqueueLocked(const std::string& text) {
    queue_.push_back(text);
    queuedBytes_ += text.size();
    if (!std::exchange(writing_, true)) {
        asio::post(stream_.get_executor(), [self = shared_from_this()] { self->Write(); });
    }
}

void DeviceStackLink::Write() {
    const std::string* frame = nullptr;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (queue_.empty()) {
            writing_ = false;
        } else {
            frame = &queue_.front();
        }
    }
    if (frame == nullptr) {
        CloseWhenWritten();
        return;
    }
    stream_.async_write(asio::buffer(*frame), [self = shared_from_this()](const error_code& error, std::size_t) {
        if (error || self->ended_) {
            self->End(error);
            return;
        }
        {
            const boost::lock_guard<boost::mutex> lock(self->mutex_);
            self->queuedBytes_ -= self->queue_.front().size();
            self->queue_.pop_front();
        }
        self->Write();
    });
}

void DeviceStackLink::Close(std::chrono::steady_clock::duration timeout) {
    if (!connected_ || ended_) {
        End(asio::error::operation_aborted);
        return;
    }
    bool writing = false;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        open_ = false;
        writing = writing_;
    }
    closing_ = true;
    closeTimer_.expires_after(timeout);
    closeTimer_.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error) {
            self->End(asio::error::timed_out);
        }
    });
    if (!writing) {
        CloseWhenWritten();
    }
}

void DeviceStackLink::CloseWhenWritten() {
    if (!closing_ || ended_) {
        return;
    }
    stream_.async_close(websocket::close_code::normal,
                        [self = shared_from_this()](const error_code& error) { self->End(error); });
}

void DeviceStackLink::End(const error_code& reason) {
    if (std::exchange(ended_, true)) {
        return;
    }
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        open_ = false;
    }
    closeTimer_.cancel();
    stream_.next_layer().close();
    owner_->OnLinkEnded(reason);
}

}  // namespace Ostra
