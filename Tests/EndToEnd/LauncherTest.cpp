#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "Children.h"
#include "ClosedStreams.h"
#include "LocalDevice.h"
#include "OwnAppFolder.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DemoLimit;
using EndToEnd::Milliseconds;
using TestSupport::ExitStatus;

class Launcher : public testing::TestWithParam<const char*> {};

TEST_P(Launcher, PlaysTheDemoAndExitsWithZero) {
    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--once", "--device", GetParam()});

    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0));

    EXPECT_EQ(sut.GetErrorLines(), std::vector<std::string>{});
}

TEST(Demo, ThatNobodyCanReadIsAFailure) {
    ChildProcess sut("/bin/bash", {"-c", "exec \"$0\" --once --device copy >/dev/full", ORN_LOCALDEVICE_PROGRAM});
    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(1));
    EXPECT_EQ(sut.GetErrorLines(), std::vector<std::string>{"localdevice: the standard output cannot be written"});
}

/// The one error line of a demo that is played by a device of an app that does not come to run. `folder`: where its
/// description and its logs lie.
std::string GetErrorOfADeviceWithApp(const std::string& appId, const EndToEnd::TemporaryFolder& folder) {
    std::ofstream(folder.At("device.json")) << R"({"name": "No CO", "serialNumber": "000000010009",
        "individualAddress": "1.1.10", "appId": ")"
                                            << appId << R"(", "communicationObjects": []})";
    std::ofstream(folder.At("device.demo.json")) << R"({"title": "None", "steps": []})";
    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--once", "--device", folder.At("device.json")},
                     {{"TMPDIR", folder.At("")}});
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(1));
    const auto errors = sut.GetErrorLines();
    EXPECT_EQ(errors.size(), 1U);
    return errors.empty() ? "" : errors.front();
}

TEST(Demo, OfADeviceWhoseAppIsMissingFailsAtOnceAndSaysWhy) {
    const EndToEnd::TemporaryFolder folder;
    const std::string error = GetErrorOfADeviceWithApp("Missing", folder);
    const std::string beginning =
        "localdevice: device 1 cannot run: Failed to find native app: Missing | Starting app host failed. | Set "
        "runstate to error; the logs stay in ";
    ASSERT_EQ(error.substr(0, beginning.size()), beginning);
    std::ifstream log(error.substr(beginning.size()) + "/host1.log");
    const std::string text{std::istreambuf_iterator<char>(log), {}};
    EXPECT_NE(text.find("Failed to find native app: Missing"), std::string::npos);
}

TEST(Demo, OfADeviceWhoseAppIsNoLibraryFailsAtOnceAndSaysWhy) {
    const EndToEnd::TemporaryFolder folder;
    const std::string library = ORN_LOCAL_OPT "/userdata/orn/libornemptyfile.so";
    std::ofstream(library) << "";
    const std::string error = GetErrorOfADeviceWithApp("EmptyFile", folder);
    EXPECT_EQ(std::remove(library.c_str()), 0);
    const std::string beginning = "localdevice: device 1 cannot run: cannot load the app: " + library + ": ";
    EXPECT_EQ(error.substr(0, beginning.size()), beginning);
}

TEST(Demo, OfADeviceWhoseAppDoesNotStartFailsAtOnceAndSaysWhy) {
    const EndToEnd::TemporaryFolder folder;
    // The app copies CO 1 to CO 2, which the device does not have.
    const std::string error = GetErrorOfADeviceWithApp("Copy", folder);
    const std::string beginning =
        "localdevice: device 1 cannot run: The app did not start: it returned 2; the logs stay in ";
    EXPECT_EQ(error.substr(0, beginning.size()), beginning);
}

INSTANTIATE_TEST_SUITE_P(Devices, Launcher, testing::Values("stairlight", "copy", "thermostat"),
                         [](const auto& device) { return std::string(device.param); });

TEST(LocalDevice, HasNoDescriptorOfItsOwnInThePlaceOfAClosedStream) {
    const EndToEnd::TemporaryFolder folder;
    EXPECT_EQ(TestSupport::GetStreamsOfClosedOnes(
                  {ORN_LOCALDEVICE_PROGRAM, "--device", "copy", "--directory", folder.At("")}, folder.At("host1.sock")),
              std::vector<std::string>(3, "/dev/null"));
}

TEST(Tools, FindTheLocalDeviceThatRuns) {
    const EndToEnd::TemporaryFolder folder;
    const ChildProcess::Environment environment{{"TMPDIR", folder.At("")}};
    ChildProcess localDevice(ORN_LOCALDEVICE_PROGRAM, {"--device", "copy"}, environment);
    ASSERT_TRUE(localDevice.WaitForLine("== run state: running").has_value());

    ChildProcess list(ORN_DEVICESTACK_CLI_PROGRAM, {"list"}, environment);
    EXPECT_EQ(list.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_TRUE(list.WaitForLine("CO 1 value").has_value());
    ChildProcess status(ORN_ORNCTL_PROGRAM, {"status"}, environment);
    EXPECT_EQ(status.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_TRUE(status.WaitForLine("\"runState\": \"running\"").has_value());

    localDevice.Signal(SIGTERM);
    EXPECT_EQ(localDevice.WaitForExit(), ExitStatus::Exited(0));
}

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
    EXPECT_EQ(countLines("restarts the device, as device 1 asks"), 1);
    sut.Signal(SIGINT);
    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0));
}

/// The child of a running launcher that runs `program`; 0 where there is none.
pid_t FindPart(const ChildProcess& launcher, const std::string& program) {
    for (const pid_t part : TestSupport::GetChildren(launcher.GetPid())) {
        std::ifstream file("/proc/" + std::to_string(part) + "/cmdline");
        const std::string commandLine(std::istreambuf_iterator<char>(file), {});
        if (commandLine.find(program) != std::string::npos) {
            return part;
        }
    }
    return 0;
}

TEST(Supervision, KilledDeviceStackMakesTheWholeDeviceRestartAndAnswerAgain) {
    const EndToEnd::TemporaryFolder folder;
    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--device", "copy", "--directory", folder.At("")});
    ASSERT_TRUE(sut.WaitForLine("RUN LED: on").has_value());
    const pid_t host = FindPart(sut, ORN_KNXSTACKHOST_PROGRAM);
    ASSERT_NE(host, 0);

    ASSERT_EQ(::kill(FindPart(sut, ORN_DEVICESTACK_PROGRAM), SIGKILL), 0);

    ASSERT_TRUE(sut.WaitForLine("the whole device restarts").has_value());
    ASSERT_TRUE(EndToEnd::WaitUntil([&sut, host] {
        const pid_t now = FindPart(sut, ORN_KNXSTACKHOST_PROGRAM);
        return now != 0 && now != host;
    }));
    EndToEnd::ControlConnection control(folder.At("host1.sock"));
    ASSERT_TRUE(EndToEnd::WaitUntil([&control] {
        return control.Ask({{"command", "status"}}).at("runState") == "running";
    }));
    control.Ask({{"command", "write"}, {"address", "1/0/1"}, {"value", "42"}});
    EXPECT_TRUE(EndToEnd::WaitUntil([&control] {
        return control.Ask({{"command", "read"}, {"address", "1/0/2"}}).value("value", "") == "42";
    }));
    sut.Signal(SIGINT);
    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0));
}

/// A local device with the thermostat, whose debug switch is at hand.
class DebugMode : public testing::Test {
protected:
    /// With `runner` before its command line.
    void Start(std::vector<std::string> runner = {}) {
        runner.insert(runner.end(), {ORN_LOCALDEVICE_PROGRAM, "--device", "thermostat"});
        sut_.emplace(runner.front(), std::vector<std::string>(runner.begin() + 1, runner.end()), environment_);
        ASSERT_TRUE(WaitForLines("device 1: run state Running", 1));
        ASSERT_TRUE(WaitForLines("RUN LED: on", 1));
    }
    void Switch(bool on) {
        ChildProcess cli(ORN_DEVICESTACK_CLI_PROGRAM, {"set", "1001004", on ? "1" : "0"}, environment_);
        EXPECT_EQ(cli.WaitForExit(), ExitStatus::Exited(0));
    }
    /// Until `count` lines contain `text`.
    bool WaitForLines(const std::string& text, std::ptrdiff_t count) {
        return EndToEnd::WaitUntil([this, &text, count] {
            const auto lines = sut_->GetOutputLines();
            return std::count_if(lines.begin(), lines.end(), [&text](const std::string& line) {
                       return line.find(text) != std::string::npos;
                   }) == count;
        });
    }
    /// The command line that was told with `part` in it, run as it stands.
    std::unique_ptr<ChildProcess> RunWhatIsTold(const std::string& part) {
        const auto line = sut_->WaitForLine(part).value_or("ORN_");
        return std::make_unique<ChildProcess>(
            "/bin/bash", std::vector<std::string>{"-c", "cd / && exec env " + line.substr(line.find("ORN_"))});
    }
    void Stop() {
        sut_->Signal(SIGINT);
        EXPECT_EQ(sut_->WaitForExit(DemoLimit), ExitStatus::Exited(0));
    }

    const EndToEnd::TemporaryFolder folder_;
    const ChildProcess::Environment environment_{{"TMPDIR", MakeFolder(folder_.At("it's a folder"))}};
    std::optional<ChildProcess> sut_;

private:
    static std::string MakeFolder(const std::string& path) {
        boost::filesystem::create_directory(path);
        return path;
    }
};

TEST_F(DebugMode, CommandLineThatIsToldRunsAsItStands) {
    Start();
    Switch(true);
    ASSERT_TRUE(sut_->WaitForLine("run state Stopped").has_value());

    const auto connectorHost = RunWhatIsTold("mono --debug");

    EXPECT_TRUE(WaitForLines("device 1: run state Running", 2))
        << testing::PrintToString(connectorHost->GetErrorLines());
    Stop();
}

TEST_F(DebugMode, BothCommandLinesThatAreToldRunTheAppAfterARestart) {
    Start();
    Switch(true);
    ASSERT_TRUE(sut_->WaitForLine("run state Stopped").has_value());
    ChildProcess restart(ORN_ORNCTL_PROGRAM, {"restart"}, environment_);
    ASSERT_EQ(restart.WaitForExit(), ExitStatus::Exited(0));
    const std::string filesIn = "Files in ";
    const std::string line = sut_->WaitForLine(filesIn).value_or(filesIn);
    ASSERT_TRUE(EndToEnd::WaitUntil([directory = line.substr(filesIn.size(), line.find(';') - filesIn.size())] {
        std::ifstream log(directory + "/host1.log");
        const std::string text{std::istreambuf_iterator<char>(log), {}};
        return text.find("Debug mode set, did not launch app host!") != std::string::npos;
    }));

    const auto connectorHost = RunWhatIsTold("mono --debug");
    const auto appHost = RunWhatIsTold("ORN_DEVICE_STACK=");

    EXPECT_TRUE(WaitForLines("device 1: run state Running", 2))
        << testing::PrintToString(appHost->GetErrorLines()) << testing::PrintToString(connectorHost->GetErrorLines());
    Stop();
}

TEST_F(DebugMode, EndOnADamagedAppSwitchesTheRunLedOffUntilTheAppIsRepaired) {
    if (!EndToEnd::OwnAppFolder::IsPossible()) {
        GTEST_SKIP() << "this machine lets nobody mount a folder of his own";
    }
    const EndToEnd::OwnAppFolder appFolder;
    const std::string added = (appFolder.GetApp() / "x.txt").string();
    Start(appFolder.GetRunner());
    Switch(true);
    ASSERT_TRUE(sut_->WaitForLine("run state Stopped").has_value());
    std::ofstream(added) << "x";

    Switch(false);

    ASSERT_TRUE(WaitForLines("RUN LED: off", 1));
    ASSERT_EQ(std::remove(added.c_str()), 0);
    Switch(true);
    Switch(false);
    EXPECT_TRUE(WaitForLines("RUN LED: on", 2));
    Stop();
}

}  // namespace
