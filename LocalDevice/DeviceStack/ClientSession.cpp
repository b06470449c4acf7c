#include "ClientSession.h"

#include <log4cplus/loggingmacros.h>

#include <boost/asio/buffer.hpp>
#include <string_view>
#include <utility>

namespace LocalDevice {

namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;

namespace {

/// Messages are read in pieces of at most this size.
constexpr std::size_t PieceSize = 65536;

/// Enough of a message that is thrown away to tell which request it was.
constexpr std::size_t BeginningSize = 64;

}  // namespace

ClientSession::ClientSession(Transport stream, RequestDispatcher& dispatcher, const ConnectionLimits& limits,
                             const log4cplus::Logger& logger, EndHandler onEnd)
    : limits_(limits), logger_(logger), dispatcher_(dispatcher), onEnd_(std::move(onEnd)), socket_(std::move(stream)) {
    socket_.set_option(websocket::stream_base::timeout{limits.handshake, limits.idle, true});
    socket_.read_message_max(0);  // the limit is kept here, without ending the connection
    socket_.auto_fragment(false);
    socket_.text(true);
}

void ClientSession::Start(const UpgradeRequest& request) {
    socket_.async_accept(
        request, [self = shared_from_this()](const boost::system::error_code& error) { self->OnAccepted(error); });
}

void ClientSession::OnAccepted(const boost::system::error_code& error) {
    if (error) {
        return End(error);
    }
    isOpen_ = true;
    dispatcher_.Add(*this);
    Read();
}

void ClientSession::Read() {
    socket_.async_read_some(
        input_, PieceSize,
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t) { self->OnRead(error); });
}

void ClientSession::OnRead(const boost::system::error_code& error) {
    if (error) {
        return End(error);
    }
    if (input_.size() > limits_.message && !isTooLarge_) {
        isTooLarge_ = true;
        beginning_.assign(static_cast<const char*>(input_.data().data()), BeginningSize);
    }
    if (isTooLarge_) {
        input_.clear();
    }
    if (socket_.is_message_done()) {
        HandleMessage();
    }
    Read();
}

void ClientSession::HandleMessage() {
    if (std::exchange(isTooLarge_, false)) {
        dispatcher_.RefuseTooLarge(*this, beginning_, limits_.message);
    } else {
        dispatcher_.Dispatch(*this, {static_cast<const char*>(input_.data().data()), input_.size()});
    }
    input_.clear();
    if (input_.capacity() > PieceSize) {
        input_.shrink_to_fit();
    }
}

void ClientSession::Send(const Message& message) {
    if (isDropped_) {
        return;
    }
    if (queuedBytes_ > limits_.queue) {
        LOG4CPLUS_WARN(logger_, "Dropped a client that does not read: " << queuedBytes_ << " bytes wait for it");
        isDropped_ = true;
        return CloseSocket();
    }
    queue_.push_back(message);
    queuedBytes_ += message->size();
    if (queue_.size() == 1) {
        Write();
    }
}

void ClientSession::Write() {
    socket_.async_write(
        boost::asio::buffer(*queue_.front()),
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t) { self->OnWritten(error); });
}

void ClientSession::OnWritten(const boost::system::error_code& error) {
    if (error) {
        // Reading fails as well, and ends the session.
        isDropped_ = true;
        return CloseSocket();
    }
    queuedBytes_ -= queue_.front()->size();
    queue_.pop_front();
    if (!queue_.empty() && !isDropped_) {
        Write();
    }
}

void ClientSession::Close() {
    if (!isOpen_) {
        return CloseSocket();
    }
    isDropped_ = true;
    // The read that is always under way sees the client's answer, or the end of its patience.
    socket_.async_close(websocket::close_code::going_away,
                        [self = shared_from_this()](const boost::system::error_code&) { self->CloseSocket(); });
}

void ClientSession::End(const boost::system::error_code& error) {
    LOG4CPLUS_DEBUG(logger_, "A client is gone: " << error.message());
    isOpen_ = false;
    isDropped_ = true;
    CloseSocket();
    dispatcher_.Remove(*this);
    onEnd_(*this);
}

void ClientSession::CloseSocket() {
    beast::get_lowest_layer(socket_).close();
}

}  // namespace LocalDevice
