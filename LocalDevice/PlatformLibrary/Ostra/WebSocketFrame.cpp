#include "WebSocketFrame.h"

#include <array>
#include <cstddef>

namespace Ostra {
namespace {

constexpr unsigned char FinalText = 0x81;
constexpr unsigned char FinalBinary = 0x82;
constexpr unsigned char Masked = 0x80;
constexpr unsigned char TwoByteLength = 126;
constexpr unsigned char EightByteLength = 127;
constexpr std::size_t LongestShort = 125;
constexpr std::size_t LongestTwoByte = 0xFFFF;
constexpr std::size_t LongestHeader = 14;

void AppendBigEndian(std::string& bytes, std::uint64_t number, unsigned size) {
    while (size > 0) {
        --size;
        bytes += static_cast<char>(number >> (8 * size));
    }
}

/// `masked`: the flag, or 0.
void AppendLength(std::string& frame, std::size_t length, unsigned char masked) {
    if (length <= LongestShort) {
        frame += static_cast<char>(masked | length);
    } else if (length <= LongestTwoByte) {
        frame += static_cast<char>(masked | TwoByteLength);
        AppendBigEndian(frame, length, 2);
    } else {
        frame += static_cast<char>(masked | EightByteLength);
        AppendBigEndian(frame, length, 8);
    }
}

}  // namespace

std::string EncodeBinaryFrame(const std::string& payload, std::uint32_t maskingKey) {
    std::string frame;
    frame.reserve(LongestHeader + payload.size());
    frame += static_cast<char>(FinalBinary);
    AppendLength(frame, payload.size(), Masked);
    AppendBigEndian(frame, maskingKey, sizeof(maskingKey));
    std::array<char, sizeof(maskingKey)> key{};
    frame.copy(key.data(), key.size(), frame.size() - key.size());
    const std::size_t begin = frame.size();
    frame.append(payload);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        frame[begin + i] = static_cast<char>(frame[begin + i] ^ key[i % key.size()]);
    }
    return frame;
}

std::string EncodeTextFrame(const std::string& payload) {
    std::string frame;
    frame.reserve(LongestHeader + payload.size());
    frame += static_cast<char>(FinalText);
    AppendLength(frame, payload.size(), 0);
    frame += payload;
    return frame;
}

}  // namespace Ostra
