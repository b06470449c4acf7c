#include <gtest/gtest.h>

#include <csignal>

#include "Children.h"
#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::Milliseconds;
using TestSupport::ExitStatus;

constexpr Milliseconds DemoLimit{60000};

class Launcher : public testing::TestWithParam<const char*> {};

TEST_P(Launcher, PlaysTheDemoAndExitsWithZero) {
    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--once", "--device", GetParam()});

    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0));

    EXPECT_EQ(sut.GetErrorLines(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Devices, Launcher, testing::Values("stairlight", "copy"),
                         [](const auto& device) { return std::string(device.param); });

TEST(Supervision, SilentAppHostMakesTheSupervisorRestartTheDeviceOnce) {
    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--device", "copy"});
    ASSERT_TRUE(sut.WaitForLine("run state Running").has_value());
    pid_t appHost = 0;
    ASSERT_TRUE(EndToEnd::WaitUntil([&sut, &appHost] {
        for (const pid_t part : TestSupport::GetChildren(sut.GetPid())) {
            for (const pid_t child : TestSupport::GetChildren(part)) {
                appHost = child;
            }
        }
        return appHost != 0;
    }));
    ASSERT_EQ(::kill(appHost, SIGSTOP), 0);

    // The watchdog's 60 s, and the 10 s that the silent app is given to stop.
    ASSERT_TRUE(sut.WaitForLine("restarts the device", Milliseconds(90000)).has_value());
    const auto countLines = [&sut](const std::string& text) {
        const auto lines = sut.GetOutputLines();
        return std::count_if(lines.begin(), lines.end(),
                             [&text](const std::string& line) { return line.find(text) != std::string::npos; });
    };
    EXPECT_TRUE(
        EndToEnd::WaitUntil([&countLines] { return countLines("run state Running") == 2; }, Milliseconds(60000)));
    EXPECT_EQ(countLines("restarts the device"), 1);
    sut.Signal(SIGINT);
    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0));
}

}  // namespace
