#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The text forms of KNX addresses and data-point types, as configuration tools show them. Only the canonical text of a
/// number is read: no sign, no blank, no leading zero.
namespace LocalDevice {

/// An individual address "AREA.LINE.DEVICE" (15.15.255 at most). None for any other text.
std::optional<std::uint16_t> ParseIndividualAddress(std::string_view text);
std::string FormatIndividualAddress(std::uint16_t address);

/// A group address "MAIN/MIDDLE/SUB" (31/7/255 at most). None for any other text and for 0/0/0, the broadcast address.
std::optional<std::uint16_t> ParseGroupAddress(std::string_view text);
std::string FormatGroupAddress(std::uint16_t address);

/// A data-point type "MAIN.SUB", the sub number with three digits at least ("1.001"): main number in the upper 16 bits,
/// sub number in the lower 16 bits. None for any other text and for main number 0.
std::optional<std::uint32_t> ParseDpt(std::string_view text);

/// An IPv4 address "A.B.C.D", the first octet in the highest byte. None for any other text.
std::optional<std::uint32_t> ParseIpAddress(std::string_view text);

/// A decimal number from 0 to `max`. None for any other text.
std::optional<std::uint32_t> ParseDecimal(std::string_view text, std::uint32_t max);

}  // namespace LocalDevice
