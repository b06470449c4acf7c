#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace LocalDevice {

/// The group services of the KNX application layer.
enum class GroupService : std::uint8_t { Read, Response, Write };

/// "read", "response" or "write".
const char* ToText(GroupService service);

/// One group telegram.
struct Telegram {
    GroupService service = GroupService::Read;
    std::uint16_t source = 0;  ///< individual address of the sender
    std::uint16_t groupAddress = 0;
    bool isCompact = false;          ///< a value of up to 6 bits, which travels inside the APCI octet
    std::vector<std::uint8_t> data;  ///< the value in bus order; empty for a read
};

/// The longest value that a group telegram can carry (extended frame).
constexpr std::size_t MaxValueBytes = 252;

/// The APDU: TPCI and APCI, then the value.
std::vector<std::uint8_t> EncodeApdu(const Telegram& telegram);

/// The telegram of an APDU, without addresses. None when it is no group service or broken.
std::optional<Telegram> DecodeApdu(const std::uint8_t* apdu, std::size_t size);

/// Bytes as lower-case hexadecimal digits, and back. None for an odd number of digits or another character.
std::string FormatHex(const std::vector<std::uint8_t>& bytes);
std::optional<std::vector<std::uint8_t>> ParseHex(const std::string& text);

}  // namespace LocalDevice
