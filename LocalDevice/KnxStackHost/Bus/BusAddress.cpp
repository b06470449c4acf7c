#include "Bus/BusAddress.h"

#include <string_view>

#include "KnxAddress.h"

namespace LocalDevice {

namespace {

constexpr std::uint32_t MaxPort = 65535;

bool SkipPrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

bool IsHostWithOptionalPort(std::string_view text) {
    const auto colon = text.find(':');
    if (text.empty() || colon == 0) {
        return false;
    }
    return colon == std::string_view::npos || ParseDecimal(text.substr(colon + 1), MaxPort).value_or(0) != 0;
}

}  // namespace

std::optional<BusAddress> ParseBusAddress(const std::string& text) {
    if (text == "in-process") {
        return BusAddress{};
    }
    std::string_view rest = text;
    if (!SkipPrefix(rest, "knxd:")) {
        return std::nullopt;
    }
    const std::string url(rest);
    if (SkipPrefix(rest, "local:")) {
        return rest.empty() ? std::nullopt : std::optional(BusAddress{url});
    }
    if (SkipPrefix(rest, "ip:") && IsHostWithOptionalPort(rest)) {
        return BusAddress{url};
    }
    return std::nullopt;
}

}  // namespace LocalDevice
