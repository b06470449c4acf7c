#include "DeviceStackAddress.h"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/thread/future.hpp>
#include <boost/thread/thread_only.hpp>
#include <charconv>
#include <string_view>
#include <utility>

namespace Ostra {
namespace {

using boost::asio::ip::tcp;
using Endpoints = std::vector<tcp::endpoint>;
using Lookup = std::pair<boost::system::error_code, Endpoints>;

std::optional<std::uint16_t> ParsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0) {
        return std::nullopt;
    }
    return port;
}

bool IsHost(std::string_view text) {
    constexpr std::string_view NotInNames = ":[]/ \t\r\n";
    return !text.empty() && text.find_first_of(NotInNames) == std::string_view::npos;
}

bool IsIpv6(const std::string& text) {
    boost::system::error_code error;
    boost::asio::ip::make_address_v6(text, error);
    return !error;
}

Lookup LookUp(const DeviceStackAddress& address) {
    Lookup lookup;
    boost::asio::io_context context;
    tcp::resolver resolver(context);
    for (const auto& entry : resolver.resolve(address.host, std::to_string(address.port), lookup.first)) {
        lookup.second.push_back(entry.endpoint());
    }
    return lookup;
}

}  // namespace

std::optional<DeviceStackAddress> ParseDeviceStackAddress(const std::string& text,
                                                          std::optional<std::uint16_t> defaultPort) {
    std::string host = text;
    std::optional<std::uint16_t> port = defaultPort;
    const auto colon = text.rfind(':');
    if (colon != std::string::npos && text.back() != ']') {
        host = text.substr(0, colon);
        port = ParsePort(std::string_view(text).substr(colon + 1));
    }
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (bracketed) {
        host = host.substr(1, host.size() - 2);
    }
    if (!port || !(bracketed ? IsIpv6(host) : IsHost(host))) {
        return std::nullopt;
    }
    return DeviceStackAddress{host, *port};
}

std::vector<tcp::endpoint> Resolve(const DeviceStackAddress& address, boost::chrono::steady_clock::time_point deadline,
                                   boost::system::error_code& error) {
    const auto numeric = boost::asio::ip::make_address(address.host, error);
    if (!error) {
        return {tcp::endpoint(numeric, address.port)};
    }
    // The system's look-up cannot be interrupted, so a slow one is left to a thread that nobody waits for.
    boost::packaged_task<Lookup()> task([address] { return LookUp(address); });
    auto future = task.get_future();
    boost::thread(std::move(task)).detach();
    if (future.wait_until(deadline) != boost::future_status::ready) {
        error = boost::asio::error::timed_out;
        return {};
    }
    auto [lookupError, endpoints] = future.get();
    error = lookupError;
    return endpoints;
}

}  // namespace Ostra
