#include "Ostra/WebSocketFrame.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

using Ostra::EncodeBinaryFrame;
using Ostra::EncodeTextFrame;

constexpr std::uint32_t Key = 0x37FA213D;
constexpr std::size_t KeySize = 4;

/// The payload of a frame whose header, its key included, has `headerSize` bytes.
std::string Unmask(const std::string& frame, std::size_t headerSize) {
    std::string payload = frame.substr(headerSize);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<char>(payload[i] ^ frame[headerSize - KeySize + i % KeySize]);
    }
    return payload;
}

TEST(WebSocketFrame, LooksLikeTheStandardsExample) {
    EXPECT_EQ(EncodeBinaryFrame("Hello", Key), "\x82\x85\x37\xFA\x21\x3D\x7F\x9F\x4D\x51\x58");
}

TEST(WebSocketFrame, MayBeEmpty) {
    EXPECT_EQ(EncodeBinaryFrame("", Key), "\x82\x80\x37\xFA\x21\x3D");
}

TEST(WebSocketFrame, HasTheShortestLengthThatHoldsIt) {
    struct Case {
        std::size_t size;
        std::string start;
    };
    for (const auto& [size, start] :
         {Case{125, "\x82\xFD"}, Case{126, std::string("\x82\xFE\0\x7E", 4)}, Case{65535, "\x82\xFE\xFF\xFF"},
          Case{65536, std::string("\x82\xFF\0\0\0\0\0\x01\0\0", 10)}}) {
        const std::string payload(size, 'x');
        const std::string frame = EncodeBinaryFrame(payload, Key);
        EXPECT_EQ(frame.substr(0, start.size()), start);
        EXPECT_TRUE(Unmask(frame, start.size() + KeySize) == payload) << size;
    }
}

TEST(WebSocketFrame, CarriesAnyBytes) {
    std::string payload;
    for (int i = 0; i < 100; ++i) {
        payload += static_cast<char>(i * 37);
    }
    EXPECT_EQ(Unmask(EncodeBinaryFrame(payload, 0xFF00807F), 6), payload);
}

TEST(WebSocketFrame, OfAServerIsNotMasked) {
    EXPECT_EQ(EncodeTextFrame("Hello"), "\x81\x05Hello");
    EXPECT_EQ(EncodeTextFrame(""), std::string("\x81\0", 2));
}

TEST(WebSocketFrame, OfAServerHasTheShortestLengthThatHoldsIt) {
    struct Case {
        std::size_t size;
        std::string start;
    };
    for (const auto& [size, start] :
         {Case{125, "\x81\x7D"}, Case{126, std::string("\x81\x7E\0\x7E", 4)}, Case{65535, "\x81\x7E\xFF\xFF"},
          Case{65536, std::string("\x81\x7F\0\0\0\0\0\x01\0\0", 10)}}) {
        const std::string payload(size, 'x');
        EXPECT_TRUE(EncodeTextFrame(payload) == start + payload) << size;
    }
}

}  // namespace
