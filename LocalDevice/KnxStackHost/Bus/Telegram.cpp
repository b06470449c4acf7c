#include "Bus/Telegram.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <iterator>

namespace LocalDevice {

namespace {

constexpr std::uint8_t ApciHighBits = 0x03;  // of the first octet; 0 for all group services
constexpr std::uint8_t ServiceBits = 0xC0;   // of the second octet
constexpr std::uint8_t CompactBits = 0x3F;   // of the second octet
constexpr std::uint8_t ReadService = 0x00;
constexpr std::uint8_t ResponseService = 0x40;
constexpr std::uint8_t WriteService = 0x80;

std::uint8_t ToApci(GroupService service) {
    switch (service) {
        case GroupService::Read:
            return ReadService;
        case GroupService::Response:
            return ResponseService;
        case GroupService::Write:
            break;
    }
    return WriteService;
}

std::optional<GroupService> FromApci(std::uint8_t apci) {
    switch (apci & ServiceBits) {
        case ReadService:
            return GroupService::Read;
        case ResponseService:
            return GroupService::Response;
        case WriteService:
            return GroupService::Write;
        default:
            return std::nullopt;
    }
}

}  // namespace

const char* ToText(GroupService service) {
    switch (service) {
        case GroupService::Read:
            return "read";
        case GroupService::Response:
            return "response";
        case GroupService::Write:
            break;
    }
    return "write";
}

std::vector<std::uint8_t> EncodeApdu(const Telegram& telegram) {
    constexpr std::size_t HeaderSize = 2;
    const bool hasValue = telegram.service != GroupService::Read;
    const bool hasOwnBytes = hasValue && !telegram.isCompact;
    std::vector<std::uint8_t> apdu(HeaderSize + (hasOwnBytes ? telegram.data.size() : 0));
    apdu[1] = ToApci(telegram.service);
    if (hasOwnBytes) {
        std::copy(telegram.data.begin(), telegram.data.end(), std::next(apdu.begin(), HeaderSize));
    } else if (hasValue) {
        apdu[1] = static_cast<std::uint8_t>(apdu[1] | (telegram.data.at(0) & CompactBits));
    }
    return apdu;
}

std::optional<Telegram> DecodeApdu(const std::uint8_t* apdu, std::size_t size) {
    if (size < 2 || (apdu[0] & ApciHighBits) != 0) {
        return std::nullopt;
    }
    const auto service = FromApci(apdu[1]);
    if (!service) {
        return std::nullopt;
    }
    Telegram telegram;
    telegram.service = *service;
    if (*service == GroupService::Read) {
        return size == 2 ? std::optional(telegram) : std::nullopt;
    }
    if (size - 2 > MaxValueBytes) {
        return std::nullopt;
    }
    telegram.isCompact = size == 2;
    if (telegram.isCompact) {
        telegram.data.push_back(apdu[1] & CompactBits);
    } else {
        telegram.data.assign(apdu + 2, apdu + size);
    }
    return telegram;
}

std::string FormatHex(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    boost::algorithm::hex_lower(bytes.begin(), bytes.end(), std::back_inserter(text));
    return text;
}

std::optional<std::vector<std::uint8_t>> ParseHex(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    try {
        boost::algorithm::unhex(text.begin(), text.end(), std::back_inserter(bytes));
    } catch (const boost::algorithm::hex_decode_error&) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace LocalDevice
