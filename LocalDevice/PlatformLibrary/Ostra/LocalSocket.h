#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>

namespace Ostra {

/// Where a device stack that listens on `endpoint` of the loopback interface listens too, for programs of this host: an
/// abstract Unix socket (unix(7)), whose name follows from the end point.
boost::asio::local::stream_protocol::endpoint MakeLocalEndpoint(const boost::asio::ip::tcp::endpoint& endpoint);

/// Whether a Unix socket is connected to a process of this user or of root: everybody may take a name first.
bool IsPeerTrusted(int descriptor);

}  // namespace Ostra
