#pragma once

#include <log4cplus/logger.h>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "ConnectionLimits.h"
#include "HttpConnection.h"
#include "IdleWork.h"
#include "Ostra/OutgoingBytes.h"
#include "Ostra/SharedWriteStream.h"
#include "RequestDispatcher.h"

namespace LocalDevice {

/// One client's WebSocket (RFC 6455): brings its messages to the dispatcher and the dispatcher's messages to it, each
/// as one text frame. Used by the io thread only; lives as long as something is under way.
class ClientSession final : public IClient, public std::enable_shared_from_this<ClientSession> {
public:
    /// `onEnd` is called once, when the dispatcher does not know the session any more.
    using EndHandler = std::function<void(ClientSession&)>;

    /// The dispatcher and `idleWork` must live until the session has ended or nothing runs any more.
    ClientSession(Transport stream, RequestDispatcher& dispatcher, IdleWork& idleWork, const ConnectionLimits& limits,
                  log4cplus::Logger logger, EndHandler onEnd);

    /// Finishes the handshake that `request` began and serves the client from then on.
    void Start(const UpgradeRequest& request);

    /// Takes leave of the client: the service ends.
    void Close();

    // A client that has too much waiting already is dropped.
    void Send(const Message& message) override;
    void SendLater(const Message& message) override;

private:
    void OnAccepted(const boost::system::error_code& error);
    void Read();
    void OnRead(const boost::system::error_code& error);
    void HandleMessage();
    bool Queue(const Message& message);
    void Write();
    void End(const boost::system::error_code& error);
    void CloseSocket();

    const ConnectionLimits limits_;
    const log4cplus::Logger logger_;
    RequestDispatcher& dispatcher_;
    EndHandler onEnd_;
    IdleWork& idleWork_;
    boost::beast::websocket::stream<Ostra::SharedWriteStream, false> socket_;
    bool isOpen_ = false;

    boost::beast::flat_buffer input_;
    bool isTooLarge_ = false;
    std::string beginning_;  ///< of a message that is too large

    Ostra::OutgoingBytes outgoing_;
    bool isBlocked_ = false;  ///< until the socket takes more
    bool isDropped_ = false;
};

}  // namespace LocalDevice
