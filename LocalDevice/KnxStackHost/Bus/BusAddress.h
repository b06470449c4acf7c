#pragma once

#include <optional>
#include <string>

namespace LocalDevice {

/// Which bus to use, as in "in-process", "knxd:local:/run/knx" and "knxd:ip:host:6720".
struct BusAddress {
    /// What knxd's client library connects to, "local:PATH" or "ip:HOST[:PORT]"; empty for the bus inside the process.
    std::string knxdUrl;

    bool IsInProcess() const { return knxdUrl.empty(); }
};

/// None for any other text.
std::optional<BusAddress> ParseBusAddress(const std::string& text);

/// What `ParseBusAddress` accepts, for messages.
constexpr const char* BusAddressForms = "in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]";

}  // namespace LocalDevice
