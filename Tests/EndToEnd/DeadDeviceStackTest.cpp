#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <future>

#include "LocalDevice.h"
#include "LogFollower.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::LogFollower;
using EndToEnd::Milliseconds;
using EndToEnd::StairLightSerialNumber;
using EndToEnd::TelegramMonitor;
using EndToEnd::WaitUntil;
using TestSupport::ExitStatus;

/// What a restart or an exit may wait for besides the device stack: an app that starts (5 s) or stops (10 s), the
/// thread of the cycle (4 s), the ends of two killed processes (5 s each); and a second for a busy machine.
constexpr Milliseconds StopBound{30'000};
/// Ten attempts to connect with 200 ms between them, and what a loaded machine needs.
constexpr Milliseconds StartBound{10'000};

/// A point of a restart or of an init cycle: the line that is written there.
struct Moment {
    const char* name;
    const char* line;
    bool isOfACycle;
};

std::ostream& operator<<(std::ostream& stream, const Moment& moment) {
    return stream << moment.name;
}

class DeadDeviceStack : public testing::TestWithParam<Moment> {
protected:
    void Kill() {
        deviceStack_->GetProcess().Signal(SIGKILL);
        ASSERT_TRUE(deviceStack_->GetProcess().WaitForExit().has_value());
    }

    void Revive() {
        deviceStack_ = std::make_unique<DeviceStack>(std::vector<std::string>{StairLightSerialNumber}, port_);
    }

    /// Restarts the application and kills the device stack at the moment, of the call or of the restart's cycle.
    void KillDuringARestart() {
        log_.TakeNew();
        const auto restart = std::async(std::launch::async, [this] { AskWithin(StopBound, "restart"); });
        ASSERT_TRUE(log_.WaitFor(GetParam().line));
        Kill();
    }

    /// Kills the device stack at the moment of a cycle that takes restarts, which is the first one.
    void KillDuringTheFirstCycle() {
        ASSERT_EQ(AskWithin(StopBound, "exit"), 1);
        log_.TakeNew();
        ASSERT_EQ(AskWithin(StartBound, "start"), 2);
        ASSERT_TRUE(log_.WaitFor(GetParam().line));
        Kill();
    }

    /// The result of a call of the host that returns within its bound.
    int AskWithin(Milliseconds bound, const char* command) {
        EndToEnd::ControlConnection control(host_.GetControlPath());
        const auto begin = std::chrono::steady_clock::now();
        const json answer = control.Ask({{"command", command}});
        const auto took = std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin);
        EXPECT_LE(took.count(), bound.count()) << command;
        return answer.at("result");
    }

    void ExpectThatTheAppAnswers() {
        ASSERT_TRUE(host_.WaitForRunState("running"));
        TelegramMonitor monitor(host_);
        EXPECT_TRUE(WaitUntil([this, &monitor] {
            host_.Write("1/0/1", "1");
            return monitor.NextSent("1/0/2", Milliseconds(500)) == "1";
        }));
        EXPECT_TRUE(WaitUntil([this] { return host_.GetAppHosts().size() == 1; }));
    }

    std::unique_ptr<DeviceStack> deviceStack_ =
        std::make_unique<DeviceStack>(std::vector<std::string>{StairLightSerialNumber});
    const std::uint16_t port_ = deviceStack_->GetPort();
    Host host_{{EndToEnd::SampleDevice("stairlight"), deviceStack_->GetAddress()}};
    LogFollower log_{host_.GetLogPath()};
};

TEST_P(DeadDeviceStack, HoldsUpNoRestartAndTheFirstOneAfterItsReturnWorks) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    ASSERT_NO_FATAL_FAILURE(GetParam().isOfACycle ? KillDuringTheFirstCycle() : KillDuringARestart());

    EXPECT_EQ(AskWithin(StopBound, "restart"), 2);
    Revive();

    // A restart comes too early where the client has not found the new device stack yet.
    EXPECT_TRUE(WaitUntil([this] { return host_.RestartAndWait() && host_.GetStatus().at("runState") == "running"; }));
    ExpectThatTheAppAnswers();
    EXPECT_TRUE(host_.Stop());
}

TEST_P(DeadDeviceStack, HoldsUpNeitherExitNorStartAndTheDeviceComesUpAfterItsReturn) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    ASSERT_NO_FATAL_FAILURE(KillDuringARestart());

    EXPECT_EQ(AskWithin(StopBound, "exit"), 1);
    EXPECT_EQ(host_.GetAppHosts(), std::vector<pid_t>{});
    EXPECT_EQ(AskWithin(StartBound, "start"), 0);
    Revive();

    ExpectThatTheAppAnswers();
    EXPECT_TRUE(host_.Stop());
}

INSTANTIATE_TEST_SUITE_P(At, DeadDeviceStack,
                         testing::Values(Moment{"UnloadedSignal", "Signal configurationUnloaded to devicestack.",
                                                false},
                                         Moment{"CommunicationOff", "Signal KNX communication 'off'.", false},
                                         Moment{"StopOfTheApp", "Stop of app host requested.", false},
                                         Moment{"EndOfTheApp", "Waiting for app to terminate", false},
                                         Moment{"Reset", "Resetting downloaded knx configuration", false},
                                         Moment{"BeginOfTheCycle", "Thread started.", true},
                                         Moment{"Configuration", "Start to configure object model.", true},
                                         Moment{"ChangeMode", "Switched on configuration change mode.", true},
                                         Moment{"CommunicationObjects", "Adding 520 COs to configuration took", true},
                                         Moment{"Parameters", "Adding 50 Text Parameters to configuration took", true},
                                         Moment{"LoadedSignal", "Signal configurationLoaded to devicestack.", true},
                                         Moment{"LaunchOfTheApp", "Launched native app", true},
                                         Moment{"RunningApp", "Done: app host running.", true},
                                         Moment{"CommunicationOn", "Signal KNX communication 'on'.", true},
                                         Moment{"EndOfTheCycle", "Thread finished.", true}),
                         [](const auto& test) { return test.param.name; });

/// The first attempt to start takes two seconds: nobody listens.
TEST(MissingDeviceStack, IsNotPromisedAnotherTryByAHostThatEnds) {
    ChildProcess host(ORN_KNXSTACKHOST_PROGRAM,
                      {"--device", EndToEnd::SampleDevice("stairlight"), "--library", ORN_PLUGIN_LIBRARY},
                      {{"ORN_DEVICE_STACK", "127.0.0.1:1"}});
    ASSERT_TRUE(host.WaitForLine("Retrying"));

    host.Signal(SIGTERM);

    EXPECT_EQ(host.WaitForExit(), ExitStatus::Exited(0));
    const auto lines = host.GetOutputLines();
    const auto has = [&lines](const char* part) {
        return std::any_of(lines.begin(), lines.end(),
                           [part](const std::string& line) { return line.find(part) != std::string::npos; });
    };
    EXPECT_TRUE(has("Init returned 0"));
    EXPECT_FALSE(has("trying again"));
}

/// The plug-in's "Stopped" of the app that is killed meets a device stack without a data point for it.
TEST(ReplacedDeviceStack, IsAskedForTheRunStateOfTheNextAppAndNotOfTheOneBefore) {
    auto deviceStack = std::make_unique<DeviceStack>(std::vector<std::string>{StairLightSerialNumber});
    Host host({EndToEnd::SampleDevice("stairlight"), deviceStack->GetAddress()});
    LogFollower log(host.GetLogPath());
    ASSERT_TRUE(host.WaitForRunState("running"));
    deviceStack->GetProcess().Signal(SIGKILL);
    ASSERT_TRUE(deviceStack->GetProcess().WaitForExit().has_value());
    deviceStack =
        std::make_unique<DeviceStack>(std::vector<std::string>{StairLightSerialNumber}, deviceStack->GetPort());
    ASSERT_TRUE(log.WaitFor("Connected to device stack again."));

    ASSERT_EQ(host.Ask({{"command", "restart"}}).at("result"), 2);
    ASSERT_TRUE(log.WaitFor("Launched native app") && log.WaitFor("Thread finished."));

    const auto lines = host.GetLog();
    const auto contains = [](const std::string& part) {
        return [part](const std::string& line) { return line.find(part) != std::string::npos; };
    };
    const std::string state = std::to_string(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(1));
    const auto launched = std::find_if(lines.rbegin(), lines.rend(), contains("Launched native app")).base();
    const auto done = std::find_if(launched, lines.end(), contains("Done: app host running."));
    EXPECT_NE(done, lines.end());
    EXPECT_TRUE(std::any_of(launched, done, contains("OnValueChanged - " + state + ": valueChanged, 3.1:2")))
        << "the run state of the app before counted as that of the next one";
    EXPECT_TRUE(host.Stop());
}

}  // namespace
