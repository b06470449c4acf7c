#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OutgoingBytes.h"
#include "SharedWriteStream.h"

namespace Ostra {

/// One WebSocket connection (RFC 6455) to a device stack, from connecting to its end. Its work is done by the thread
/// that runs `context`, one at a time; only `Send` may be called by any thread.
class DeviceStackLink : public std::enable_shared_from_this<DeviceStackLink> {
public:
    using Endpoint = boost::asio::ip::tcp::endpoint;

    /// Called by the thread that runs the context, but for `Post`. The link does not own it.
    class Owner {
    public:
        /// Has `work` done by the thread that runs the context, soon. Any thread.
        virtual void Post(std::function<void()> work) = 0;
        /// The connection stands; the owner may now call `Open`.
        virtual void OnLinkConnected() = 0;
        virtual void OnLinkFrame(const std::string& text) = 0;
        /// The connection ended or never came about. Once, and the last call.
        virtual void OnLinkEnded(const boost::system::error_code& reason) = 0;

    protected:
        ~Owner() = default;
    };

    DeviceStackLink(boost::asio::io_context& context, Owner& owner);

    /// Tries the end points in turn, for `timeout` in all; those of the loopback interface by their local socket first.
    void Connect(const std::vector<Endpoint>& endpoints, std::chrono::steady_clock::duration timeout);

    /// Sends `firstMessages`; from now on `Send` works.
    void Open(const std::vector<std::string>& firstMessages);

    /// What is read from; -1 while there is no connection.
    int GetDescriptor();

    /// Sends a message on the calling thread, as far as the socket takes it at once; the rest is queued, and so is what
    /// is sent after it. Does not wait. False when the link is not open. Ends a link whose peer has left 64 MiB unread.
    bool Send(const std::string& message);

    /// Sends what is queued and closes, for `timeout` at most.
    void Close(std::chrono::steady_clock::duration timeout);

private:
    struct Address {
        boost::asio::generic::stream_protocol::endpoint endpoint;
        std::string host;
    };

    void TryAddress(const boost::system::error_code& lastError);
    void TryNextAddress(const boost::system::error_code& lastError);
    void OnConnected();
    void Read();
    bool HandOverFrame();
    void WriteLocked(std::string bytes);
    void WriteQueued();
    void SendQueued();
    void ForgetSocket();
    void End(const boost::system::error_code& reason);

    Owner* owner_;
    boost::beast::websocket::stream<SharedWriteStream, false> stream_;
    boost::asio::steady_timer closeTimer_;
    std::deque<Address> addresses_;  ///< still to be tried; the first one is being tried
    boost::beast::flat_buffer readBuffer_;
    bool connected_ = false;
    bool ended_ = false;

    boost::mutex mutex_;
    bool open_ = false;
    int descriptor_ = -1;
    OutgoingBytes outgoing_;
};

}  // namespace Ostra
