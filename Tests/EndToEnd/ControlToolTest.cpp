#include <gmock/gmock.h>

#include <csignal>

#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using TestSupport::ExitStatus;

/// ornctl with a KNX stack host that runs the copying app.
class ControlTool : public testing::Test {
protected:
    struct Outcome {
        ExitStatus status;
        std::string output;
        std::vector<std::string> errors;
    };

    static Outcome RunAlone(const std::vector<std::string>& arguments, const std::string& temporaryFolder = "/tmp") {
        ChildProcess tool(ORN_ORNCTL_PROGRAM, arguments, {{"TMPDIR", temporaryFolder}});
        const auto status = tool.WaitForExit();
        std::string output;
        for (const std::string& line : tool.GetOutputLines()) {
            output.append(line).append("\n");
        }
        return {status.value_or(ExitStatus()), output, tool.GetErrorLines()};
    }

    Outcome Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--control", host_.GetControlPath()});
        return RunAlone(arguments);
    }

    json Answer(const std::vector<std::string>& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(0));
        EXPECT_THAT(outcome.errors, IsEmpty());
        return json::parse(outcome.output, nullptr, false);
    }

    /// The one line of a call that fails with `code`.
    std::string Error(int code, const std::vector<std::string>& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(code));
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors.size(), 1U);
        return outcome.errors.empty() ? "" : outcome.errors.front();
    }

    const DeviceStack deviceStack_{{"000000010002"}};
    Host host_{{EndToEnd::SampleDevice("copy"), deviceStack_.GetAddress()}};
};

TEST_F(ControlTool, WritesAndTheAppAnswers) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    EndToEnd::TelegramMonitor monitor(host_);
    EXPECT_TRUE(Answer({"write", "1/0/1", "42"}).is_object());
    EXPECT_EQ(monitor.NextSent("1/0/2"), "42");
    EXPECT_EQ(Answer({"read", "1/0/2"}).at("value"), "42");
}

TEST_F(ControlTool, ShowsTheStatusAndRestartsSeveralTimes) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    EXPECT_EQ(Answer({"status"}).at("name"), "Copy");
    const Outcome restarts = Run({"restart", "2"});
    EXPECT_EQ(restarts.status, ExitStatus::Exited(0));
    EXPECT_THAT(restarts.output, StartsWith("1: OnDeviceRestart returned 2\n2: OnDeviceRestart returned 2\n{"));
}

TEST_F(ControlTool, ARestartIsCountedWhereACycleFollows) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    ASSERT_TRUE(host_.RestartAndWait());
    EXPECT_EQ(Run({"restart", "5"}).status, ExitStatus::Exited(0));
    EXPECT_TRUE(EndToEnd::WaitUntil([this] {
        const json status = host_.GetStatus();
        return status.at("cycles") == status.at("restarts").get<int>() + 1;
    })) << host_.GetStatus();
}

TEST_F(ControlTool, RefusalsEndInOneLineAndLoseNothing) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    EXPECT_THAT(Error(1, {"write", "1/0/1", "-7"}), StartsWith("ornctl: "));
    EXPECT_THAT(Error(1, {"write", "1/0/1", ""}), StartsWith("ornctl: "));
    EXPECT_THAT(Error(1, {"write", "99/0/1", "1"}), StartsWith("ornctl: "));
    EXPECT_EQ(Error(1, {"write", "1/0/1", "\xff"}), "ornctl: the command is not UTF-8 text");
    EXPECT_THAT(Error(1, {"write", "1/0/1",
                          "\xC2\x9B"
                          "2J\n"}),
                StartsWith(R"(ornctl: "\u009b2J\n" is no value of )"));
    EXPECT_THAT(Error(1, {"download", "/nowhere.json"}), StartsWith("ornctl: "));
    EXPECT_THAT(Error(1, {"download", EndToEnd::SampleDevice("copy"), "--objects", "77"}), StartsWith("ornctl: "));
    EXPECT_EQ(Error(2, {"restart", "x"}), "ornctl: restart: expected a number from 1 on, got \"x\"; see --help");
    EXPECT_EQ(host_.GetStatus().at("runState"), "running");
}

TEST_F(ControlTool, AnOutputThatCannotBeWrittenIsAFailure) {
    for (const std::string arguments : {"status", "--help"}) {
        ChildProcess tool("/bin/sh", {"-c", R"(exec "$0" --control "$1" )" + arguments + " >/dev/full",
                                      ORN_ORNCTL_PROGRAM, host_.GetControlPath()});
        EXPECT_EQ(tool.WaitForExit(), ExitStatus::Exited(1));
        EXPECT_THAT(tool.GetErrorLines(), ElementsAre("ornctl: the standard output cannot be written"));
    }
}

TEST_F(ControlTool, SaysWhereNobodyListens) {
    const EndToEnd::TemporaryFolder empty;
    const Outcome noDevice = RunAlone({"status"}, empty.At(""));
    EXPECT_EQ(noDevice.status, ExitStatus::Exited(1));
    EXPECT_THAT(noDevice.errors,
                ElementsAre("ornctl: no local device runs in TMPDIR (" + empty.At("") +
                            "); start one with scripts/run, or name the folder of one that was started with "
                            "--directory"));
    const Outcome noHost = RunAlone({"status", "--directory", empty.At("")});
    EXPECT_EQ(noHost.status, ExitStatus::Exited(1));
    EXPECT_THAT(noHost.errors, ElementsAre("ornctl: " + empty.At("host1.sock") +
                                           ": no KNX stack host listens there: No such file or directory"));
}

TEST_F(ControlTool, MonitorEndsWhenTheHostHasGone) {
    ChildProcess monitor(ORN_ORNCTL_PROGRAM, {"--control", host_.GetControlPath(), "monitor"});
    ASSERT_TRUE(monitor.WaitForLine("event"));
    EXPECT_TRUE(host_.Stop());
    EXPECT_EQ(monitor.WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(monitor.GetErrorLines().size(), 1U);
}

}  // namespace
