#include "HttpConnection.h"

#include <algorithm>
#include <array>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

namespace LocalDevice {

namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::uint32_t HeaderLimit = 16384;
constexpr std::size_t DrainSize = 65536;

/// Whether the peer sent something that is not HTTP, rather than nothing or not all of it.
bool IsProtocolError(const boost::system::error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_version).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
}

}  // namespace

HttpConnection::HttpConnection(Transport::socket_type socket, const ConnectionLimits& limits, UpgradeHandler onUpgrade)
    : limits_(limits), onUpgrade_(std::move(onUpgrade)), stream_(std::move(socket)) {
    parser_.header_limit(HeaderLimit);
}

void HttpConnection::Start() {
    stream_.expires_after(limits_.handshake);
    http::async_read_header(
        stream_, buffer_, parser_,
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t) { self->OnRequest(error); });
}

void HttpConnection::OnRequest(const boost::system::error_code& error) {
    if (IsProtocolError(error)) {
        return Refuse(http::status::bad_request, "This is no HTTP request: " + error.message());
    }
    if (error) {
        return;
    }
    const UpgradeRequest& request = parser_.get();
    if (!beast::websocket::is_upgrade(request)) {
        return Refuse(http::status::upgrade_required, "The device stack speaks WebSocket only");
    }
    const beast::string_view origin = request[http::field::origin];
    if (!origin.empty() && !IsLocalOrigin({origin.data(), origin.size()})) {
        return Refuse(http::status::forbidden, "Pages of other hosts may not use the device stack");
    }
    if (buffer_.size() != 0) {
        return Refuse(http::status::bad_request, "There is data before the end of the handshake");
    }
    stream_.expires_never();
    onUpgrade_(std::move(stream_), request);
}

void HttpConnection::Refuse(http::status status, const std::string& text) {
    response_.result(status);
    response_.set(http::field::content_type, "text/plain");
    response_.set(http::field::connection, "close");
    if (status == http::status::upgrade_required) {
        response_.set(http::field::upgrade, "websocket");
    }
    response_.body() = text + "\n";
    response_.prepare_payload();
    http::async_write(stream_, response_,
                      [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                          if (!error) {
                              self->OnRefused();
                          }
                      });
}

void HttpConnection::OnRefused() {
    // Closing with unread input would reset the connection and could take the answer with it.
    boost::system::error_code ignored;
    stream_.socket().shutdown(boost::asio::socket_base::shutdown_send, ignored);
    Drain();
}

void HttpConnection::Drain() {
    buffer_.clear();
    stream_.async_read_some(buffer_.prepare(DrainSize),
                            [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                                if (!error) {
                                    self->Drain();
                                }
                            });
}

bool IsLocalOrigin(std::string_view origin) {
    constexpr std::string_view SchemeEnd = "://";
    const std::size_t scheme = origin.find(SchemeEnd);
    if (scheme == std::string_view::npos) {
        return false;
    }
    const std::string_view rest = origin.substr(scheme + SchemeEnd.size());
    constexpr std::array<std::string_view, 3> Hosts{"localhost", "127.0.0.1", "[::1]"};
    return std::any_of(Hosts.begin(), Hosts.end(), [rest](std::string_view host) {
        return rest == host || rest.substr(0, host.size() + 1) == std::string(host) + ':';
    });
}

}  // namespace LocalDevice
