#include "Bus/Telegram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bus/BusAddress.h"

namespace LocalDevice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

Telegram Make(GroupService service, bool isCompact, Bytes data) {
    Telegram telegram;
    telegram.service = service;
    telegram.isCompact = isCompact;
    telegram.data = std::move(data);
    return telegram;
}

std::optional<Telegram> Decode(const Bytes& apdu) {
    return DecodeApdu(apdu.data(), apdu.size());
}

TEST(TelegramTest, ASmallValueTravelsInsideTheApci) {
    EXPECT_THAT(EncodeApdu(Make(GroupService::Write, true, {0x01})), ElementsAre(0x00, 0x81));
    EXPECT_THAT(EncodeApdu(Make(GroupService::Response, true, {0x3F})), ElementsAre(0x00, 0x7F));
    EXPECT_THAT(EncodeApdu(Make(GroupService::Write, true, {0xFF})), ElementsAre(0x00, 0xBF));
}

TEST(TelegramTest, ALongValueFollowsTheApci) {
    EXPECT_THAT(EncodeApdu(Make(GroupService::Write, false, {0x01})), ElementsAre(0x00, 0x80, 0x01));
    EXPECT_THAT(EncodeApdu(Make(GroupService::Response, false, {0x0C, 0x1A})), ElementsAre(0x00, 0x40, 0x0C, 0x1A));
}

TEST(TelegramTest, AReadHasNoValue) {
    EXPECT_THAT(EncodeApdu(Make(GroupService::Read, false, {0x55})), ElementsAre(0x00, 0x00));
    const auto decoded = Decode({0x00, 0x00});
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->service, GroupService::Read);
    EXPECT_THAT(decoded->data, IsEmpty());
}

TEST(TelegramTest, EveryValueComesBackAsItWasSent) {
    for (const GroupService service : {GroupService::Write, GroupService::Response}) {
        for (int value = 0; value < 0x40; ++value) {
            const auto decoded = Decode(EncodeApdu(Make(service, true, {static_cast<std::uint8_t>(value)})));
            ASSERT_TRUE(decoded);
            EXPECT_EQ(decoded->service, service);
            EXPECT_TRUE(decoded->isCompact);
            EXPECT_THAT(decoded->data, ElementsAre(value));
        }
        for (std::size_t size = 1; size <= MaxValueBytes; ++size) {
            const auto decoded = Decode(EncodeApdu(Make(service, false, Bytes(size, 0xA5))));
            ASSERT_TRUE(decoded);
            EXPECT_FALSE(decoded->isCompact);
            EXPECT_EQ(decoded->data, Bytes(size, 0xA5));
        }
    }
}

TEST(TelegramTest, WhatIsNoGroupServiceIsNotDecoded) {
    EXPECT_FALSE(Decode({}));
    EXPECT_FALSE(Decode({0x00}));
    EXPECT_FALSE(Decode({0x00, 0xC0}));
    EXPECT_FALSE(Decode({0x01, 0x80}));
    EXPECT_FALSE(Decode({0x03, 0xD5, 0x00}));
    EXPECT_FALSE(Decode({0x00, 0x00, 0x01}));
    EXPECT_FALSE(Decode(Bytes(MaxValueBytes + 3, 0x80)));
}

TEST(TelegramTest, TransportBitsAreIgnored) {
    const auto decoded = Decode({0xFC, 0x81});
    ASSERT_TRUE(decoded);
    EXPECT_THAT(decoded->data, ElementsAre(1));
}

TEST(TelegramTest, HexadecimalDigitsAreReadAndWritten) {
    EXPECT_EQ(FormatHex({0x00, 0x0C, 0xFF}), "000cff");
    EXPECT_EQ(FormatHex({}), "");
    EXPECT_EQ(ParseHex("000cFF"), (Bytes{0x00, 0x0C, 0xFF}));
    EXPECT_EQ(ParseHex(""), Bytes{});
    EXPECT_EQ(ParseHex("0"), std::nullopt);
    EXPECT_EQ(ParseHex("0x"), std::nullopt);
    EXPECT_EQ(ParseHex("0 1"), std::nullopt);
}

TEST(BusAddressTest, EachFormIsRead) {
    EXPECT_TRUE(ParseBusAddress("in-process")->IsInProcess());
    EXPECT_EQ(ParseBusAddress("knxd:local:/run/knx")->knxdUrl, "local:/run/knx");
    EXPECT_EQ(ParseBusAddress("knxd:ip:localhost")->knxdUrl, "ip:localhost");
    EXPECT_EQ(ParseBusAddress("knxd:ip:127.0.0.1:6720")->knxdUrl, "ip:127.0.0.1:6720");
}

TEST(BusAddressTest, AnyOtherFormIsRefused) {
    for (const char* const text : {"", "in-process ", "knxd", "knxd:", "knxd:local:", "knxd:ip:", "knxd:ip::6720",
                                   "knxd:ip:host:", "knxd:ip:host:0", "knxd:ip:host:65536", "knxd:ip:host:1:2",
                                   "knxd:usb:1", "local:/run/knx"}) {
        EXPECT_FALSE(ParseBusAddress(text)) << text;
    }
}

}  // namespace
}  // namespace LocalDevice
