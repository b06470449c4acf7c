#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <optional>
#include <regex>

#include "ChildProcess.h"
#include "Journal.h"
#include "LauncherGraces.h"
#include "Orn/Durations.h"
#include "TemporaryFolder.h"
#include "Zandrel/OrnIpcClientImpl.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
namespace fs = boost::filesystem;

/// A launcher in an installation whose device stack and host are fakes that write a journal.
class LauncherTest : public testing::Test {
protected:
    LauncherTest() {
        for (const char* folder : {"bin", "lib", "devices", "manner", "run"}) {
            fs::create_directory(directory_.At(folder));
        }
        for (const char* part : {"bin/devicestack", "bin/knxstackhost"}) {
            fs::create_symlink(FAKE_PART, directory_.At(part));
        }
        directory_.Write("lib/libOrnKnxAppPrg.so", "");
        AddDevice("first", "000000000001");
        AddDevice("second", "000000000002");
    }

    void AddDevice(const std::string& name, const std::string& serialNumber) {
        directory_.Write("devices/" + name + ".json", R"({"name": "A device", "serialNumber": ")" + serialNumber +
                                                          R"(", "individualAddress": "1.1.10", "appId": "App",
                                                            "communicationObjects": []})");
    }

    void SetManner(const std::string& part, const std::string& manner) { directory_.Write("manner/" + part, manner); }

    void Launch(std::vector<std::string> arguments = {"--device", "first"},
                const ChildProcess::Environment& environment = {}) {
        arguments.insert(arguments.begin(), directory_.At("bin"));
        if (std::find(arguments.begin(), arguments.end(), "--directory") == arguments.end()) {
            arguments.insert(arguments.end(), {"--directory", directory_.At("run")});
        }
        sut_.emplace(LOCAL_DEVICE_AT, arguments, environment);
    }

    /// Waits until the launcher has connected to the host, so that host and launcher know of each other.
    bool AwaitUp() { return journal_.Await("knxstackhost start", 1) && sut_->WaitForLine("host at work"); }

    void SendToSupervisor(const std::string& text) const {
        boost::asio::io_context io;
        boost::asio::local::stream_protocol::socket socket(io);
        socket.connect(directory_.At("run/supervisor.sock"));
        boost::asio::write(socket, boost::asio::buffer(text));
    }

    ExitStatus AwaitExit() { return sut_->WaitForExit().value_or(ExitStatus{}); }

    /// The lines about a subject, without the time of day.
    std::vector<std::string> LinesAbout(const std::string& subject) const {
        std::vector<std::string> texts;
        for (const std::string& line : sut_->GetOutputLines()) {
            const std::regex form("[0-9:.]{12} == " + subject + ": (.*)");
            std::smatch match;
            if (std::regex_match(line, match, form)) {
                texts.push_back(match[1]);
            }
        }
        return texts;
    }

    static std::string CommandLineOf(int process) {
        std::ifstream file("/proc/" + std::to_string(process) + "/cmdline");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const TestSupport::TemporaryFolder directory_;
    const Journal journal_{directory_.At("")};
    std::optional<ChildProcess> sut_;
};

TEST_F(LauncherTest, DeviceStackIsUpBeforeTheHostStarts) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    EXPECT_THAT(journal_.Lines(), ElementsAre("devicestack start --port 0 --serial1 000000000001",
                                              "knxstackhost start --bus in-process at 127.0.0.1:9"));
    EXPECT_THAT(LinesAbout("device stack"), ElementsAre("listening on 127.0.0.1:9"));
    EXPECT_THAT(LinesAbout("device 1"), ElementsAre("A device, 1.1.10, app App"));
}

TEST_F(LauncherTest, CtrlCEndsHostThenDeviceStack) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
    const auto journal = journal_.Lines();
    ASSERT_EQ(journal.size(), 4U);
    EXPECT_EQ(journal[2], "knxstackhost end");
    EXPECT_EQ(journal[3], "devicestack end");
    EXPECT_THAT(sut_->GetErrorLines(), IsEmpty());
    EXPECT_FALSE(fs::exists(directory_.At("run/supervisor.sock")));
}

TEST_F(LauncherTest, SigtermEndsItToo) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGTERM);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
}

TEST_F(LauncherTest, SecondCtrlCKillsAtOnce) {
    SetManner("knxstackhost", "stubborn");
    Launch();
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGINT);
    sut_->Signal(SIGTERM);  // another number: two of one kind at once are one
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: ended hard by a second signal"));
    EXPECT_EQ(kill(journal_.PidOf("knxstackhost"), 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(LauncherTest, HostThatDoesNotEndIsKilledAndThatIsAFailure) {
    SetManner("knxstackhost", "stubborn");
    Launch({"--device", "first"}, {{"HOST_GRACE", "200"}});
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: host 1 ended with signal 9 (Killed), for it did not "
                                                   "end within 0.2 s"));
    EXPECT_THAT(LinesAbout("host 1"), IsEmpty());
    EXPECT_EQ(journal_.Lines().back(), "devicestack end");
}

TEST_F(LauncherTest, HostThatDoesNotEndForARestartIsKilledAndTheRestartGoesOn) {
    SetManner("knxstackhost", "stubborn");
    Launch({"--device", "first"}, {{"HOST_GRACE", "200"}});
    ASSERT_TRUE(AwaitUp());
    SetManner("knxstackhost", "");
    SendToSupervisor("{\"request\":\"restart\",\"factoryReset\":false,\"from\":13,\"to\":2}\n");
    ASSERT_TRUE(journal_.Await("knxstackhost start", 2));
    EXPECT_THAT(LinesAbout("host 1"), ElementsAre("ended with signal 9 (Killed), for it did not end within 0.2 s"));
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
}

TEST_F(LauncherTest, HostThatFailsWhileItEndsIsAFailure) {
    SetManner("knxstackhost", "fail-at-end");
    Launch();
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(),
                ElementsAre("localdevice: host 1 ended with exit code 1: knxstackhost: does not like to end"));
}

/// Whatever the application program waits for, each time for as long as it may.
TEST(LauncherGraces, LetTheHostFinishARestartAndTheExitBehindIt) {
    namespace Durations = Zandrel::Durations;
    constexpr auto Call = 4 * Durations::RequestTimeout + Durations::RunningBeforeStopWait + Durations::StoppedWait +
                          4 * Durations::ReapWait + Durations::InitThreadJoin + 2 * Durations::DebugTaskWait;
    constexpr auto Deletion = 2 * Durations::ReapWait + Durations::DebugTaskWait;

    EXPECT_GT(LocalDevice::LongestHostEnd.count(), (2 * Call + Deletion).count());
    EXPECT_GT(LocalDevice::LauncherGraces().host, LocalDevice::LongestHostEnd);
}

TEST_F(LauncherTest, ProcessesEndWhenTheLauncherIsKilled) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    sut_->Signal(SIGKILL);
    EXPECT_TRUE(journal_.Await("knxstackhost end", 1));
    EXPECT_TRUE(journal_.Await("devicestack end", 1));
}

TEST_F(LauncherTest, TwoDevicesShareOneDeviceStack) {
    Launch({"--device", "first", "--device", "second", "--bus", "knxd:local:/x"});
    ASSERT_TRUE(journal_.Await("knxstackhost start", 2));
    EXPECT_THAT(journal_.Lines(),
                ElementsAre("devicestack start --port 0 --serial1 000000000001 --serial2 000000000002",
                            "knxstackhost start --bus knxd:local:/x at 127.0.0.1:9",
                            "knxstackhost start --bus knxd:local:/x at 127.0.0.1:9"));
    EXPECT_TRUE(fs::exists(directory_.At("run/supervisor.sock")));
}

TEST_F(LauncherTest, WithoutDeviceStackOnlyTheHostStarts) {
    Launch({"--device", "first", "--no-device-stack", "--port", "7"});
    ASSERT_TRUE(AwaitUp());
    EXPECT_THAT(journal_.Lines(), ElementsAre("knxstackhost start --bus in-process at 127.0.0.1:7"));
    EXPECT_THAT(LinesAbout("device stack"), ElementsAre("expected on 127.0.0.1:7"));
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
}

TEST_F(LauncherTest, DelayedDeviceStackComesAfterTheHost) {
    Launch({"--device", "first", "--device-stack-delay", "1"});
    ASSERT_TRUE(journal_.Await("devicestack start", 1));
    EXPECT_THAT(journal_.Lines().front(), HasSubstr("knxstackhost start"));
}

TEST_F(LauncherTest, RestartRequestRestartsEverythingInOrder) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    ASSERT_EQ(setenv("ORN_SUPERVISOR", directory_.At("run/supervisor.sock").c_str(), 1), 0);
    Zandrel::OrnIpcClientImpl(13, 2).Restart(false);
    ASSERT_TRUE(journal_.Await("knxstackhost start", 2));
    EXPECT_THAT(journal_.Lines(), ElementsAre("devicestack start --port 0 --serial1 000000000001",
                                              "knxstackhost start --bus in-process at 127.0.0.1:9", "knxstackhost end",
                                              "devicestack end", "devicestack start --port 9 --serial1 000000000001",
                                              "knxstackhost start --bus in-process at 127.0.0.1:9"));
    EXPECT_THAT(LinesAbout("supervisor"),
                ElementsAre("restarts the device, as process " + std::to_string(getpid()) + " asks"));
}

TEST_F(LauncherTest, RestartIsToldWithTheDeviceThatAsksForIt) {
    SetManner("knxstackhost", "restart");
    Launch({"--device", "first", "--device", "second"});
    ASSERT_TRUE(sut_->WaitForLine("[1] host at work") && sut_->WaitForLine("[2] host at work"));
    const int host = journal_.PidOf("knxstackhost");
    const bool isSecond = CommandLineOf(host).find("host2.sock") != std::string::npos;
    kill(host, SIGUSR1);
    ASSERT_TRUE(journal_.Await("knxstackhost start", 4));
    EXPECT_THAT(LinesAbout("supervisor"),
                ElementsAre(std::string("restarts the device, as device ") + (isSecond ? "2" : "1") + " asks"));
}

TEST_F(LauncherTest, RequestsWhileRestartingArePartOfTheRestart) {
    SetManner("knxstackhost", "stubborn");
    Launch();
    ASSERT_TRUE(AwaitUp());
    std::string requests;
    for (int i = 0; i < 20; ++i) {
        requests += "{\"request\":\"restart\",\"factoryReset\":true,\"from\":13,\"to\":2}\n";
    }
    SendToSupervisor(requests + "the last one\n");
    ASSERT_TRUE(sut_->WaitForLine("it is no JSON object"));
    kill(journal_.PidOf("knxstackhost"), SIGUSR1);
    ASSERT_TRUE(journal_.Await("knxstackhost start", 2));
    const std::string own = "process " + std::to_string(getpid());
    EXPECT_THAT(LinesAbout("supervisor"), ElementsAre("restarts the device in its factory state, as " + own + " asks",
                                                      "got a request of " + own + ": it is no JSON object"));
    sut_->Signal(SIGINT);
    sut_->Signal(SIGTERM);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
}

TEST_F(LauncherTest, BadRequestIsToldAndChangesNothing) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    SendToSupervisor("nonsense\n");
    EXPECT_TRUE(sut_->WaitForLine("it is no JSON object"));
    EXPECT_EQ(journal_.Lines().size(), 2U);
}

TEST_F(LauncherTest, HostThatDiesIsStartedAgain) {
    Launch();
    ASSERT_TRUE(AwaitUp());
    kill(journal_.PidOf("knxstackhost"), SIGKILL);
    EXPECT_TRUE(journal_.Await("knxstackhost start", 2));
    EXPECT_THAT(LinesAbout("host 1"), ElementsAre("ended with signal 9 (Killed); starts again in 250 ms"));
}

TEST_F(LauncherTest, DeviceStackThatDiesTakesTheHostsWithItAndTheDeviceRestarts) {
    Launch({"--device", "first", "--device", "second"});
    ASSERT_TRUE(sut_->WaitForLine("[1] host at work") && sut_->WaitForLine("[2] host at work"));
    kill(journal_.PidOf("devicestack"), SIGKILL);
    ASSERT_TRUE(journal_.Await("knxstackhost start", 4));
    const auto journal = journal_.Lines();
    ASSERT_EQ(journal.size(), 8U);
    EXPECT_EQ(journal[3], "knxstackhost end");
    EXPECT_EQ(journal[4], "knxstackhost end");
    EXPECT_EQ(journal[5], "devicestack start --port 9 --serial1 000000000001 --serial2 000000000002");
    EXPECT_THAT(LinesAbout("device stack"),
                ElementsAre("listening on 127.0.0.1:9", "ended with signal 9 (Killed); the whole device restarts",
                            "listening on 127.0.0.1:9"));
}

TEST_F(LauncherTest, DeviceStackThatDiesAgainAndAgainIsTheEnd) {
    Launch();
    for (int death = 1; death <= 5; ++death) {
        ASSERT_TRUE(journal_.Await("knxstackhost start", death));
        kill(journal_.PidOf("devicestack"), SIGKILL);
    }
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(),
                ElementsAre("localdevice: too many processes ended within a minute, at last: device stack ended with "
                            "signal 9 (Killed)"));
}

TEST_F(LauncherTest, FiveDeathsWithinAMinuteAreTheEnd) {
    SetManner("knxstackhost", "die");
    Launch();
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(),
                ElementsAre("localdevice: too many processes ended within a minute, at last: host 1 ended with exit "
                            "code 5"));
    EXPECT_EQ(journal_.Lines().back(), "devicestack end");
}

TEST_F(LauncherTest, HostThatCannotStartIsTheEnd) {
    SetManner("knxstackhost", "fail");
    Launch();
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: host 1 ended with exit code 1: knxstackhost: does "
                                                   "not like it here"));
    EXPECT_EQ(journal_.Lines().back(), "devicestack end");
}

TEST_F(LauncherTest, DeviceStackThatCannotStartIsTheEnd) {
    SetManner("devicestack", "fail");
    Launch();
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: device stack ended with exit code 1: devicestack: "
                                                   "does not like it here"));
    EXPECT_EQ(journal_.Lines().size(), 1U);
}

TEST_F(LauncherTest, InterruptedDemoIsAFailure) {
    directory_.Write("devices/first.demo.json", R"({"title": "T", "steps": []})");
    Launch({"--device", "first", "--once"});
    ASSERT_TRUE(journal_.Await("knxstackhost start", 1));
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: interrupted before the demo had ended"));
}

TEST_F(LauncherTest, DemoOfADeviceThatCannotRunFailsAtOnceWithTheLastErrors) {
    directory_.Write("devices/first.demo.json", R"({"title": "T", "steps": []})");
    SetManner("knxstackhost", "error");
    Launch({"--device", "first", "--once"});
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: device 1 cannot run: No app | No start | Error"));
}

TEST_F(LauncherTest, FreshFolderIsGoneAtTheEnd) {
    sut_.emplace(LOCAL_DEVICE_AT, std::vector<std::string>{directory_.At("bin"), "--device", "first"},
                 ChildProcess::Environment{{"TMPDIR", directory_.At("run")}});
    ASSERT_TRUE(AwaitUp());
    EXPECT_FALSE(fs::is_empty(directory_.At("run")));
    sut_->Signal(SIGINT);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
    EXPECT_TRUE(fs::is_empty(directory_.At("run")));
}

TEST_F(LauncherTest, LogsOfAFreshFolderStayAfterAFailure) {
    SetManner("knxstackhost", "log-and-fail");
    sut_.emplace(LOCAL_DEVICE_AT, std::vector<std::string>{directory_.At("bin"), "--device", "first"},
                 ChildProcess::Environment{{"TMPDIR", directory_.At("run")}});
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    const std::string beginning =
        "localdevice: host 1 ended with exit code 1: knxstackhost: does not like it here; the logs stay in ";
    ASSERT_EQ(sut_->GetErrorLines().size(), 1U);
    const std::string error = sut_->GetErrorLines().front();
    ASSERT_THAT(error, testing::StartsWith(beginning));
    EXPECT_TRUE(fs::exists(error.substr(beginning.size()) + "/host1.log"));
    EXPECT_FALSE(fs::exists(error.substr(beginning.size()) + "/supervisor.sock"));
}

TEST_F(LauncherTest, ReaderThatGoesAwayEndsItInOrder) {
    std::vector<std::string> arguments{"-c",
                                       R"(exec 3>&1; { "$0" "$@"; echo "exit code $?" >&3; } | head -n 1)",
                                       LOCAL_DEVICE_AT,
                                       directory_.At("bin"),
                                       "--device",
                                       "first",
                                       "--directory",
                                       directory_.At("run")};
    sut_.emplace("/bin/bash", arguments);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(0));
    EXPECT_EQ(sut_->GetOutputLines().back(), "exit code 0");
    EXPECT_THAT(sut_->GetErrorLines(), IsEmpty());
}

class LauncherOnAFullDisk : public LauncherTest, public testing::WithParamInterface<std::string> {};

TEST_P(LauncherOnAFullDisk, IsAFailure) {
    directory_.Write("devices/first.demo.json", R"({"title": "T", "steps": []})");
    sut_.emplace("/bin/bash",
                 std::vector<std::string>{"-c", R"(exec "$0" "$@" >/dev/full)", LOCAL_DEVICE_AT, directory_.At("bin"),
                                          "--device", "first", "--directory", directory_.At("run"), GetParam()});
    if (GetParam() == "--quiet") {
        ASSERT_TRUE(journal_.Await("knxstackhost start", 1));
        sut_->Signal(SIGINT);
    }
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: the standard output cannot be written"));
}

INSTANTIATE_TEST_SUITE_P(Options, LauncherOnAFullDisk, testing::Values("--help", "--quiet"));

/// A command line and what comes of it; "ROOT" stands for the installation.
struct BadStart {
    std::vector<std::string> arguments;
    int exitCode;
    std::string message;
};

class LauncherRefuses : public LauncherTest, public testing::WithParamInterface<BadStart> {};

TEST_P(LauncherRefuses, SaysWhyAndStartsNothing) {
    const std::string root = fs::path(directory_.At("bin")).parent_path().string();
    std::vector<std::string> arguments = GetParam().arguments;
    for (std::string& argument : arguments) {
        boost::replace_all(argument, "ROOT", root);
    }
    Launch(arguments);
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(GetParam().exitCode));
    const std::string message = boost::replace_all_copy(GetParam().message, "ROOT", root);
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: " + message));
    EXPECT_THAT(journal_.Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    CommandLines, LauncherRefuses,
    testing::Values(
        BadStart{{"--port", "x"}, 2, "--port x: expected a number from 0 to 65535"},
        BadStart{{"--device", "third"}, 2, "unknown device \"third\", expected a file or one of first, second"},
        BadStart{{"--device", "./none"}, 1, "./none: cannot be read: No such file or directory"},
        BadStart{{"--device", "none.json"}, 1, "none.json: cannot be read: No such file or directory"},
        BadStart{{"--device", "first", "--device", "first"}, 2, "--device first: expected two different devices"},
        BadStart{{"--bus", "usb"}, 2, "--bus usb: expected in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]"},
        BadStart{{"--device", "first", "--directory", "/proc"},
                 1,
                 "/proc/supervisor.sock: the socket cannot be made: No such file or directory"},
        BadStart{{"--device", "first", "--device", "ROOT/devices/first.json"},
                 1,
                 "ROOT/devices/first.json: serial number 000000000001 is that of device 1 too"},
        BadStart{{"--device", "first", "--once"},
                 1,
                 "ROOT/devices/first.demo.json: cannot be read: No such file or directory"}));

TEST_F(LauncherTest, MissingProgramIsNamed) {
    fs::remove(directory_.At("bin/knxstackhost"));
    Launch();
    EXPECT_EQ(AwaitExit(), ExitStatus::Exited(1));
    EXPECT_THAT(sut_->GetErrorLines(), ElementsAre("localdevice: " + directory_.At("bin/knxstackhost") +
                                                   ": missing; build the whole project first"));
}

}  // namespace
