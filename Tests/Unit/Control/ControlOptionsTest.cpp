#include "ControlOptions.h"

#include <gmock/gmock.h>

namespace LocalDevice {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string ErrorOf(const std::vector<std::string>& arguments) {
    try {
        ParseControlOptions(arguments);
        return "none";
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(ControlOptions, ACommandAloneAsksTheOnlyDeviceThatRuns) {
    const ControlOptions options = ParseControlOptions({"status"});
    EXPECT_EQ(options.command, "status");
    EXPECT_THAT(options.arguments, IsEmpty());
    EXPECT_TRUE(options.directory.empty());
    EXPECT_TRUE(options.socket.empty());
    EXPECT_EQ(options.logicalDevice, 1);
}

TEST(ControlOptions, ANegativeValueIsAValue) {
    EXPECT_THAT(ParseControlOptions({"write", "1/0/1", "-7.5"}).arguments, ElementsAre("1/0/1", "-7.5"));
}

TEST(ControlOptions, AnEmptyValueIsAValue) {
    EXPECT_THAT(ParseControlOptions({"write", "1/0/1", ""}).arguments, ElementsAre("1/0/1", ""));
}

TEST(ControlOptions, WhatFollowsTwoDashesIsNoOption) {
    EXPECT_THAT(ParseControlOptions({"write", "1/0/4", "--", "--help"}).arguments, ElementsAre("1/0/4", "--help"));
}

TEST(ControlOptions, OptionsMayStandBeforeAndAfterTheCommand) {
    const ControlOptions options = ParseControlOptions({"--device=2", "read", "1/0/1", "--directory", "/run/device"});
    EXPECT_EQ(options.command, "read");
    EXPECT_EQ(options.logicalDevice, 2);
    EXPECT_EQ(options.directory, "/run/device");
}

TEST(ControlOptions, ADownloadTakesObjectsAndAnObjectToBreakOffAfter) {
    const ControlOptions options =
        ParseControlOptions({"download", "a.json", "--objects", "1,2,9", "--abort-after", "2"});
    EXPECT_THAT(options.arguments, ElementsAre("a.json"));
    EXPECT_THAT(options.objects, ElementsAre(1U, 2U, 9U));
    EXPECT_EQ(options.abortAfter, 2U);
}

TEST(ControlOptions, ARestartTakesACount) {
    EXPECT_EQ(ParseControlOptions({"restart"}).restarts, 1U);
    EXPECT_EQ(ParseControlOptions({"restart", "20"}).restarts, 20U);
}

TEST(ControlOptions, HelpNeedsNoCommand) {
    EXPECT_EQ(ParseControlOptions({"--help"}).command, "help");
    EXPECT_THAT(GetControlUsage(), HasSubstr("usage: ornctl"));
    EXPECT_THAT(GetControlUsage(), HasSubstr("--directory"));
}

TEST(ControlOptions, WrongCommandLinesAreToldApart) {
    EXPECT_EQ(ErrorOf({}), "expected a command");
    EXPECT_EQ(ErrorOf({"statu"}), "unknown command \"statu\"");
    EXPECT_EQ(ErrorOf({"status", "now"}), "\"status\" expects 0 arguments, got 1");
    EXPECT_EQ(ErrorOf({"write", "1/0/1"}), "\"write\" expects 2 arguments, got 1");
    EXPECT_EQ(ErrorOf({"download", "a", "b"}), "\"download\" expects 0 to 1 arguments, got 2");
    EXPECT_EQ(ErrorOf({"status", "--device", "3"}), "--device: expected 1 or 2, got 3");
    EXPECT_EQ(ErrorOf({"status", "--objects", "1"}), "--objects and --abort-after belong to download");
    EXPECT_EQ(ErrorOf({"download", "--objects", "1,x"}), "--objects: expected a number from 1 on, got \"x\"");
    EXPECT_EQ(ErrorOf({"download", "--objects", ""}), "--objects: expected numbers such as 1,2,3");
    EXPECT_EQ(ErrorOf({"restart", "-1"}), "restart: expected a number from 1 on, got \"-1\"");
    EXPECT_EQ(ErrorOf({"restart", "0"}), "restart: expected a number from 1 on, got \"0\"");
    EXPECT_EQ(ErrorOf({"restart", "99999999999"}), "restart: expected a number from 1 on, got \"99999999999\"");
    EXPECT_EQ(ErrorOf({"status", "--dev", "1"}), "unrecognised option '--dev'");
    EXPECT_EQ(ErrorOf({"status", "--device", "1", "--device", "2"}),
              "option '--device' cannot be specified more than once");
}

}  // namespace
}  // namespace LocalDevice
