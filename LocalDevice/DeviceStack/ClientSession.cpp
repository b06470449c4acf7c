#include "ClientSession.h"

#include <log4cplus/loggingmacros.h>

#include <boost/asio/error.hpp>
#include <string_view>
#include <utility>

#include "Ostra/WebSocketFrame.h"

namespace LocalDevice {

namespace websocket = boost::beast::websocket;

namespace {

/// Messages are read in pieces of at most this size.
constexpr std::size_t PieceSize = 65536;

/// Enough of a message that is thrown away to tell which request it was.
constexpr std::size_t BeginningSize = 64;

}  // namespace

ClientSession::ClientSession(Transport stream, RequestDispatcher& dispatcher, IdleWork& idleWork,
                             const ConnectionLimits& limits, log4cplus::Logger logger, EndHandler onEnd)
    : limits_(limits),
      logger_(std::move(logger)),
      dispatcher_(dispatcher),
      onEnd_(std::move(onEnd)),
      idleWork_(idleWork),
      socket_(
          stream.release_socket(),
          [this](std::string bytes) {
              outgoing_.Add(std::move(bytes));
              Write();
          },
          [] {}) {
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
    if (Queue(message)) {
        Write();
    }
}

void ClientSession::SendLater(const Message& message) {
    const bool isFirst = outgoing_.IsEmpty();
    if (Queue(message) && isFirst) {
        idleWork_.Post([self = shared_from_this()] { self->Write(); });
    }
}

/// False where the client gets no more.
bool ClientSession::Queue(const Message& message) {
    if (isDropped_) {
        return false;
    }
    if (outgoing_.GetSize() > limits_.queue) {
        LOG4CPLUS_WARN(logger_, "Dropped a client that does not read: " << outgoing_.GetSize() << " bytes wait for it");
        isDropped_ = true;
        CloseSocket();
        return false;
    }
    outgoing_.Add(Ostra::EncodeTextFrame(*message));
    return true;
}

/// Sends what waits, as soon as the socket takes it.
void ClientSession::Write() {
    auto& transport = socket_.next_layer().socket();
    if (isBlocked_ || !transport.is_open()) {
        return;
    }
    const auto error = outgoing_.SendTo(transport.native_handle());
    if (error == boost::asio::error::would_block) {
        isBlocked_ = true;
        transport.async_wait(boost::asio::socket_base::wait_write,
                             [self = shared_from_this()](const boost::system::error_code&) {
                                 self->isBlocked_ = false;
                                 self->Write();
                             });
    } else if (error) {
        // Reading fails as well, and ends the session.
        isDropped_ = true;
        CloseSocket();
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
    socket_.next_layer().close();
}

}  // namespace LocalDevice
