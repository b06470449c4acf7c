#include "Ostra/DeviceStackAddress.h"

#include <gtest/gtest.h>

#include <boost/asio/ip/address.hpp>

namespace {

constexpr std::uint16_t DefaultPort = 7580;

TEST(DeviceStackAddress, ReadsHostAndPort) {
    struct Case {
        const char* text;
        const char* host;
        std::uint16_t port;
    };
    for (const auto& expected : {
             Case{"127.0.0.1:80", "127.0.0.1", 80},
             Case{"localhost:65535", "localhost", 65535},
             Case{"a-b.c:1", "a-b.c", 1},
             Case{"[::1]:7580", "::1", 7580},
             Case{"localhost", "localhost", DefaultPort},
             Case{"[fe80::1]", "fe80::1", DefaultPort},
         }) {
        const auto address = Ostra::ParseDeviceStackAddress(expected.text, DefaultPort);
        ASSERT_TRUE(address) << expected.text;
        EXPECT_EQ(address->host, expected.host) << expected.text;
        EXPECT_EQ(address->port, expected.port) << expected.text;
    }
}

TEST(DeviceStackAddress, RefusesWhatIsNoAddress) {
    for (const char* const text :
         {"",        ":",        ":80",      "host:",          "host:0",   "host:65536",
          "host:-1", "host:+1",  "host: 80", "host:80 ",       "host:8x",  "host:99999999999999999999",
          "a b:80",  " host:80", "::1",      "::1:80",         "[]:80",    "[host]:80",
          "[::1",    "::1]",     "[::1]:",   "http://host:80", "host:80/", "[::1]x:80"}) {
        EXPECT_FALSE(Ostra::ParseDeviceStackAddress(text, DefaultPort)) << text;
    }
}

TEST(DeviceStackAddress, WithoutDefaultThePortIsNeeded) {
    EXPECT_FALSE(Ostra::ParseDeviceStackAddress("localhost", std::nullopt));
    EXPECT_FALSE(Ostra::ParseDeviceStackAddress("[::1]", std::nullopt));
    EXPECT_TRUE(Ostra::ParseDeviceStackAddress("localhost:1", std::nullopt));
}

TEST(DeviceStackAddress, ResolvesNumbersAndTheLocalHost) {
    const auto deadline = boost::chrono::steady_clock::now() + boost::chrono::seconds(10);
    boost::system::error_code error;
    const auto numeric = Ostra::Resolve({"127.0.0.1", 7}, deadline, error);
    ASSERT_EQ(numeric.size(), 1U) << error.message();
    EXPECT_EQ(numeric.front().address().to_string(), "127.0.0.1");
    EXPECT_EQ(numeric.front().port(), 7);

    const auto named = Ostra::Resolve({"localhost", 7}, deadline, error);
    ASSERT_FALSE(error) << error.message();
    ASSERT_FALSE(named.empty());
    EXPECT_TRUE(named.front().address().is_loopback());
}

TEST(DeviceStackAddress, GivesUpALookUpAtTheDeadline) {
    boost::system::error_code error;
    const auto endpoints = Ostra::Resolve({"localhost", 7}, boost::chrono::steady_clock::now(), error);
    EXPECT_TRUE(endpoints.empty() ? error == boost::asio::error::timed_out : !error);
}

}  // namespace
