#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "ConnectionLimits.h"

namespace LocalDevice {

/// A connection of any kind, with time-outs.
using Transport = boost::beast::basic_stream<boost::asio::generic::stream_protocol>;
using UpgradeRequest = boost::beast::http::request<boost::beast::http::empty_body>;

/// The first step of every connection: one HTTP request (RFC 9112), which has to ask for a WebSocket. Anything else is
/// answered with an HTTP error, as long as there is somebody to answer, and ends the connection. Lives as long as
/// something is under way; used by the io thread only.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    /// Gets the connection and the request that asks for a WebSocket.
    using UpgradeHandler = std::function<void(Transport, const UpgradeRequest&)>;

    HttpConnection(Transport::socket_type socket, const ConnectionLimits& limits, UpgradeHandler onUpgrade);

    void Start();

private:
    void OnRequest(const boost::system::error_code& error);
    void Refuse(boost::beast::http::status status, const std::string& text);
    void OnRefused();
    void Drain();

    const ConnectionLimits limits_;
    const UpgradeHandler onUpgrade_;
    Transport stream_;
    boost::beast::flat_buffer buffer_;
    boost::beast::http::request_parser<boost::beast::http::empty_body> parser_;
    boost::beast::http::response<boost::beast::http::string_body> response_;
};

/// Whether a page of this origin (RFC 6454) may use the service. A browser connects wherever the page it shows tells it
/// to, the local host included: only pages of the local host itself are let in.
bool IsLocalOrigin(std::string_view origin);

}  // namespace LocalDevice
