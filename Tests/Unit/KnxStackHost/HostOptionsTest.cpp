#include "HostOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace LocalDevice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

std::string ErrorOf(const std::vector<std::string>& arguments) {
    try {
        ParseHostOptions(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

TEST(HostOptionsTest, OnlyTheDeviceIsNeeded) {
    const auto options = ParseHostOptions({"--device", "a.json"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->device, "a.json");
    EXPECT_THAT(options->library, EndsWith("/lib/libOrnKnxAppPrg.so"));
    EXPECT_TRUE(options->bus.IsInProcess());
    EXPECT_EQ(options->control, "");
    EXPECT_EQ(options->log, "");
    EXPECT_FALSE(options->isQuiet);
    EXPECT_EQ(options->downloadPause, std::chrono::milliseconds(10));
}

TEST(HostOptionsTest, EveryOptionIsRead) {
    const auto options = ParseHostOptions({"--device=a.json", "--library", "b.so", "--bus", "knxd:ip:host", "--control",
                                           "c", "--log", "d", "--quiet", "--download-pause", "0"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->library, "b.so");
    EXPECT_EQ(options->bus.knxdUrl, "ip:host");
    EXPECT_EQ(options->control, "c");
    EXPECT_EQ(options->log, "d");
    EXPECT_TRUE(options->isQuiet);
    EXPECT_EQ(options->downloadPause, std::chrono::milliseconds(0));
}

TEST(HostOptionsTest, WhatCannotBeObeyedSaysWhy) {
    EXPECT_EQ(ErrorOf({}), "--device is missing; expected the file of a device description");
    EXPECT_EQ(ErrorOf({"--device", "a", "--bus", "usb"}),
              "--bus usb: expected in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]");
    EXPECT_EQ(ErrorOf({"--device", "a", "--download-pause", "-1"}), "--download-pause -1: expected 0 to 60000");
    EXPECT_EQ(ErrorOf({"--device", "a", "--download-pause", "60001"}), "--download-pause 60001: expected 0 to 60000");
    EXPECT_THAT(ErrorOf({"--device", "a", "--download-pause", "soon"}), HasSubstr("soon"));
    EXPECT_THAT(ErrorOf({"--device", "a", "--device", "b"}), HasSubstr("device"));
    EXPECT_THAT(ErrorOf({"--devic", "a"}), HasSubstr("--devic"));
    EXPECT_THAT(ErrorOf({"a.json"}), HasSubstr("positional"));
    EXPECT_THAT(ErrorOf({"--device"}), HasSubstr("device"));
}

TEST(HostOptionsTest, HelpTellsOptionsAndExitCodes) {
    EXPECT_FALSE(ParseHostOptions({"--help"}));
    EXPECT_THAT(GetHostHelp(), HasSubstr("--download-pause"));
    EXPECT_THAT(GetHostHelp(), HasSubstr("3  the library is missing"));
}

}  // namespace
}  // namespace LocalDevice
