#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ChildProcess.h"

namespace {

using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
using Texts = std::vector<std::string>;

const std::string Libraries = TEST_LIBRARIES "/";
const std::string CopyApp = COPY_APP;
const std::string Usage = "usage: ornapphost LIBRARY LOGICAL_DEVICE (1 or 2)";

struct BadCall {
    Texts arguments;
    std::string line;
};

class BadCalls : public testing::TestWithParam<BadCall> {};

TEST_P(BadCalls, endWithOneLineAndExitCodeTwo) {
    // Nobody listens there: a bad call must be refused without a device stack.
    ChildProcess sut(ORN_APP_HOST, GetParam().arguments, {{"ORN_DEVICE_STACK", "127.0.0.1:1"}});
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(2));
    EXPECT_EQ(sut.GetErrorLines(), Texts{GetParam().line});
    EXPECT_EQ(sut.GetOutputLines(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(Arguments, BadCalls,
                         testing::Values(BadCall{{}, Usage}, BadCall{{CopyApp}, Usage},
                                         BadCall{{CopyApp, "1", "more"}, Usage}, BadCall{{CopyApp, ""}, Usage},
                                         BadCall{{CopyApp, "0"}, Usage}, BadCall{{CopyApp, "3"}, Usage},
                                         BadCall{{CopyApp, "one"}, Usage}, BadCall{{CopyApp, "1 "}, Usage},
                                         BadCall{{CopyApp, "+1"}, Usage}, BadCall{{CopyApp, "01"}, Usage}));
INSTANTIATE_TEST_SUITE_P(
    Library, BadCalls,
    testing::Values(BadCall{{Libraries + "none.so", "1"},
                            "ornapphost: cannot load the app: " + Libraries +
                                "none.so: cannot open shared object file: No such file or directory"},
                    BadCall{{"/", "1"}, "ornapphost: cannot load the app: /: cannot read file data: Is a directory"},
                    BadCall{{"/dev/null", "2"}, "ornapphost: cannot load the app: /dev/null: file too short"},
                    BadCall{{"", "1"}, "ornapphost: cannot load the app: the path is empty"},
                    BadCall{{Libraries + "NoApp.so", "1"},
                            "ornapphost: " + Libraries +
                                "NoApp.so is no app: it does not export "
                                "orn_app_interface_version"},
                    BadCall{{Libraries + "HalfApp.so", "1"},
                            "ornapphost: " + Libraries + "HalfApp.so is no app: it does not export orn_app_stop"},
                    BadCall{{Libraries + "OtherVersionApp.so", "1"},
                            "ornapphost: " + Libraries +
                                "OtherVersionApp.so is built for version 2 of the app interface, this app host for "
                                "version 1"}));

TEST(OrnAppHostProcess, failsWithoutADeviceStack) {
    ChildProcess sut(ORN_APP_HOST, {CopyApp, "1"}, {{"ORN_DEVICE_STACK", "127.0.0.1:1"}});
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(sut.WaitForLine("FATAL OrnAppHost - The app host ends: no connection to the device stack"));
}

TEST(OrnAppHostProcess, logsAsTheEnvironmentSays) {
    ChildProcess sut(ORN_APP_HOST, {CopyApp, "1"},
                     {{"ORN_DEVICE_STACK", "127.0.0.1:1"}, {"ORN_LOG_PROPERTIES", LOG_PROPERTIES}});
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(sut.GetOutputLines(), Texts{"as told: The app host ends: no connection to the device stack"});
    EXPECT_EQ(sut.GetErrorLines(), Texts{});
}

}  // namespace
