#include "KnxAddress.h"

#include <array>
#include <charconv>
#include <system_error>

namespace LocalDevice {

namespace {

/// `Count` decimal numbers between separators, each at most the limit of its place. None for any other text.
template <std::size_t Count>
std::optional<std::array<std::uint32_t, Count>> ParseFields(std::string_view text, char separator,
                                                            const std::array<std::uint32_t, Count>& limits) {
    std::array<std::uint32_t, Count> fields{};
    for (std::size_t i = 0; i < Count; ++i) {
        const bool isLast = i + 1 == Count;
        const auto end = isLast ? text.size() : text.find(separator);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const auto field = ParseDecimal(text.substr(0, end), limits[i]);
        if (!field) {
            return std::nullopt;
        }
        fields[i] = *field;
        text.remove_prefix(isLast ? end : end + 1);
    }
    return fields;
}

}  // namespace

std::optional<std::uint32_t> ParseDecimal(std::string_view text, std::uint32_t max) {
    const bool hasLeadingZero = text.size() > 1 && text.front() == '0';
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (hasLeadingZero || error != std::errc() || stop != end || number > max) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::uint16_t> ParseIndividualAddress(std::string_view text) {
    const auto fields = ParseFields<3>(text, '.', {15, 15, 255});
    if (!fields) {
        return std::nullopt;
    }
    const auto [area, line, device] = *fields;
    return static_cast<std::uint16_t>(area << 12U | line << 8U | device);
}

std::string FormatIndividualAddress(std::uint16_t address) {
    return std::to_string(address >> 12U) + "." + std::to_string(address >> 8U & 0xFU) + "." +
           std::to_string(address & 0xFFU);
}

std::optional<std::uint16_t> ParseGroupAddress(std::string_view text) {
    const auto fields = ParseFields<3>(text, '/', {31, 7, 255});
    if (!fields) {
        return std::nullopt;
    }
    const auto [main, middle, sub] = *fields;
    const auto address = static_cast<std::uint16_t>(main << 11U | middle << 8U | sub);
    return address == 0 ? std::nullopt : std::optional(address);
}

std::string FormatGroupAddress(std::uint16_t address) {
    return std::to_string(address >> 11U) + "/" + std::to_string(address >> 8U & 0x7U) + "/" +
           std::to_string(address & 0xFFU);
}

std::optional<std::uint32_t> ParseDpt(std::string_view text) {
    constexpr std::size_t SubDigits = 3;
    constexpr std::uint32_t MaxNumber = 0xFFFF;
    const auto point = text.find('.');
    if (point == std::string_view::npos || text.size() - point - 1 < SubDigits) {
        return std::nullopt;
    }
    std::string_view sub = text.substr(point + 1);
    while (sub.size() <= SubDigits && sub.size() > 1 && sub.front() == '0') {
        sub.remove_prefix(1);
    }
    const auto mainNumber = ParseDecimal(text.substr(0, point), MaxNumber);
    const auto subNumber = ParseDecimal(sub, MaxNumber);
    if (!mainNumber || *mainNumber == 0 || !subNumber) {
        return std::nullopt;
    }
    return *mainNumber << 16U | *subNumber;
}

std::optional<std::uint32_t> ParseIpAddress(std::string_view text) {
    const auto fields = ParseFields<4>(text, '.', {255, 255, 255, 255});
    if (!fields) {
        return std::nullopt;
    }
    const auto [a, b, c, d] = *fields;
    return a << 24U | b << 16U | c << 8U | d;
}

}  // namespace LocalDevice
