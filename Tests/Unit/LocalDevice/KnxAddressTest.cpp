#include "KnxAddress.h"

#include <gmock/gmock.h>

namespace {

using namespace LocalDevice;

TEST(KnxAddress, IndividualAddressIsAreaLineDevice) {
    EXPECT_EQ(ParseIndividualAddress("1.1.10"), 0x110A);
    EXPECT_EQ(ParseIndividualAddress("15.15.255"), 0xFFFF);
    EXPECT_EQ(ParseIndividualAddress("0.0.0"), 0);
    EXPECT_EQ(FormatIndividualAddress(0x110A), "1.1.10");
    EXPECT_EQ(FormatIndividualAddress(0xFFFF), "15.15.255");
}

TEST(KnxAddress, GroupAddressIsMainMiddleSub) {
    EXPECT_EQ(ParseGroupAddress("1/0/1"), 0x0801);
    EXPECT_EQ(ParseGroupAddress("31/7/255"), 0xFFFF);
    EXPECT_EQ(ParseGroupAddress("0/0/1"), 1);
    EXPECT_EQ(FormatGroupAddress(0x0801), "1/0/1");
    EXPECT_EQ(FormatGroupAddress(0xFFFF), "31/7/255");
}

TEST(KnxAddress, BroadcastIsNoGroupAddress) {
    EXPECT_EQ(ParseGroupAddress("0/0/0"), std::nullopt);
}

TEST(KnxAddress, DptIsMainAndSubNumber) {
    EXPECT_EQ(ParseDpt("1.001"), 0x10001U);
    EXPECT_EQ(ParseDpt("1.000"), 0x10000U);
    EXPECT_EQ(ParseDpt("14.1200"), 14U << 16U | 1200U);
    EXPECT_EQ(ParseDpt("65535.65535"), 0xFFFFFFFFU);
}

TEST(KnxAddress, IpAddressHasItsFirstOctetInTheHighestByte) {
    EXPECT_EQ(ParseIpAddress("192.168.1.10"), 0xC0A8010AU);
    EXPECT_EQ(ParseIpAddress("255.255.255.255"), 0xFFFFFFFFU);
}

TEST(KnxAddress, OtherTextsAreNoIndividualAddress) {
    for (const char* text : {"", "1", "1.1", "1.1.", ".1.1", "1..1", "1.1.1.1", "16.1.1", "1.16.1", "1.1.256", "01.1.1",
                             "1.1.1 ", " 1.1.1", "+1.1.1", "-1.1.1", "1/1/1", "a.b.c", "1.1.99999999999"}) {
        EXPECT_EQ(ParseIndividualAddress(text), std::nullopt) << text;
    }
}

TEST(KnxAddress, OtherTextsAreNoGroupAddress) {
    for (const char* text : {"", "1/0", "1/0/", "1/0/256", "1/8/0", "32/0/0", "1/0/01", "1/0/1/1", "1.0.1", "2049"}) {
        EXPECT_EQ(ParseGroupAddress(text), std::nullopt) << text;
    }
}

TEST(KnxAddress, OtherTextsAreNoDpt) {
    for (const char* text : {"", "1", "1.", "1.1", "1.01", "1.0001", "0.001", "65536.001", "1.65536", ".001", "1.00a",
                             "DPT1.001", "1.001 "}) {
        EXPECT_EQ(ParseDpt(text), std::nullopt) << text;
    }
}

TEST(KnxAddress, OtherTextsAreNoIpAddress) {
    for (const char* text : {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.2.3.04", "1.2.3.4\n", "::1"}) {
        EXPECT_EQ(ParseIpAddress(text), std::nullopt) << text;
    }
}

}  // namespace
