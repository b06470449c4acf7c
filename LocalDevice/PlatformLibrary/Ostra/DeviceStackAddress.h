#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Ostra {

/// Where a device stack listens.
struct DeviceStackAddress {
    std::string host;  ///< a name, an IPv4 address, or an IPv6 address without its brackets
    std::uint16_t port;
};

/// Reads "HOST:PORT", or "HOST" where there is a default port; an IPv6 address stands in brackets. None when `text` has
/// another form, no host, or a port other than 1 to 65535.
std::optional<DeviceStackAddress> ParseDeviceStackAddress(const std::string& text,
                                                          std::optional<std::uint16_t> defaultPort);

/// The end points of an address, in the order in which to try them. Looks names up until `deadline` at most; without a
/// result `error` says why.
std::vector<boost::asio::ip::tcp::endpoint> Resolve(const DeviceStackAddress& address,
                                                    boost::chrono::steady_clock::time_point deadline,
                                                    boost::system::error_code& error);

}  // namespace Ostra
