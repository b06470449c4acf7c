#include <stdexcept>

#include "ProgramFixture.h"

namespace {

using namespace Program;

class ProgramExit : public ProgramFixture {};

const Lines SignalledOff{{"INFO", "[App] Exit - Signaled disabled KNX communication"}};
const Lines Disconnected{{"INFO", "~MeasureDuration - Disconnecting from dsc took"}};
const Requests AllRequests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"), Disable()};

TEST_F(ProgramExit, LogsItsStepsInOrder) {
    Start();

    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectHostLines(UnloadedSignalled + SignalledOff + LinesOfAStop() + ThreadsStopped + Disconnected);
    EXPECT_EQ(deviceStack_.GetRequests(), AllRequests);
    EXPECT_EQ(client_.GetCalls(),
              (std::vector<std::string>{"set response handler", "set event handler", "unset response handler",
                                        "drop event handler", "release"}));
}

TEST_F(ProgramExit, GoesOnWhenEverythingIsRefused) {
    Start();
    deviceStack_.Refuse("", "no");

    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectHostLines(
        Lines{{"ERROR", "[App] IndicateLoadState - Error sending configurationUnloaded to devicestack! no"},
              {"INFO", "[App] SignalAppHostKnxCommunicationState - Signal KNX communication 'off'."},
              {"ERROR", "[App] DoSendAppControlEvent - Failed to send event '3': no"},
              {"ERROR", "[App] Exit - Failed to signal disabled KNX communication"},
              {"INFO", "Stop - Stop of app host requested."},
              {"INFO", "[App] SendAppControlEventStop - Sending shutdown signal as RSM event"},
              {"ERROR", "[App] DoSendAppControlEvent - Failed to send event '1': no"},
              {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."},
              {"DEBUG", "KillProcess - Nothing to kill"},
              {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
              {"INFO", "KillProcess - App host killed"},
              {"INFO", "Stop - Waiting for app host process to exit"},
              {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
              {"FATAL", "Stop (SOURCE) - App host process exited with -1"},
              {"DEBUG", "~MeasureDuration - Stopping app host took"}} +
        ThreadsStopped +
        Lines{{"ERROR", "[App] DisableLogicalKnxDevice - Failed to set configuration of object '1000000': no"},
              {"WARN", "[App] ResetConfiguration - Failed to disable device channel. Logical device: 1"}} +
        Disconnected);
    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"),
                                                    SetValue(State, "3.1:0"), Disable()}));
}

TEST_F(ProgramExit, WithoutALogicalDeviceNeitherSignalsNorResets) {
    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectHostLines(
        Lines{{"ERROR", "IndicateLoadState - No devicestack connection available! [CALL STACK]"},
              {"INFO", "Exit - Cannot signal KNX communication disabled because logical device id is unknown."}} +
        LinesOfAStopWithoutApp() + Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}} + Disconnected);
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
}

TEST_F(ProgramExit, GoesOnWhenTheCycleCannotBeJoined) {
    clock_->joinLimit = boost::chrono::milliseconds(20);
    deviceStack_.Ignore("GetDeviceConfig");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(deviceStack_.WaitForRequest("GetDeviceConfig"));
    Forget();

    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectHostLines(
        Lines{{"INFO", "IndicateLoadState - Signal configurationUnloaded to devicestack."},
              {"INFO", "Exit - Cannot signal KNX communication disabled because logical device id is unknown."}} +
        LinesOfAStopWithoutApp() +
        Lines{{"DEBUG", "Terminate - Stopping all ticker threads."},
              {"FATAL", "InterruptAndJoinInitThread - Thread join timeout. Interrupting thread... [CALL STACK]"},
              {"DEBUG", "~MeasureDuration - Interrupting and joining the init thread took"},
              {"WARN", "Exit - Failed to stop init thread."}} +
        Disconnected);
}

/// A step of `Exit` that throws, and what it leaves in the log.
struct ThrowingExitStep {
    const char* name;
    const char* request;  ///< whose sending throws; empty where something else does
    bool joinThrows;
    bool releaseThrows;
    Lines lines;
};

std::ostream& operator<<(std::ostream& stream, const ThrowingExitStep& step) {
    return stream << step.name;
}

class ProgramExitWithAThrowingStep : public ProgramFixture, public testing::WithParamInterface<ThrowingExitStep> {};

TEST_P(ProgramExitWithAThrowingStep, GoesOn) {
    Start();
    client_.onSend = [](const std::string& json) {
        if (*GetParam().request != '\0' && json.find(GetParam().request) != std::string::npos) {
            throw std::runtime_error("on fire");
        }
    };
    clock_->onJoin = [] {
        if (GetParam().joinThrows) {
            throw std::runtime_error("on fire");
        }
    };
    client_.onRelease = [] {
        if (GetParam().releaseThrows) {
            throw std::runtime_error("on fire");
        }
    };

    EXPECT_EQ(sut_->Exit(), Exited);

    const Lines lines = TakeHostLines();
    Lines failures;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(failures),
                 [](const TestSupport::LogLine& line) { return line.level == "ERROR" || line.level == "WARN"; });
    EXPECT_EQ(failures, GetParam().lines);
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(client_.GetCalls().back(), "release");
    EXPECT_TRUE(HasNoTimer());
    EXPECT_FALSE(Send(ValueOfCo(5), "2.1:1")) << "still open for values";
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure) << "still has the hub";
}

INSTANTIATE_TEST_SUITE_P(
    Steps, ProgramExitWithAThrowingStep,
    testing::Values(
        ThrowingExitStep{"Unloaded",
                         "configurationUnloaded",
                         false,
                         false,
                         {{"ERROR",
                           "[App] IndicateLoadState - Error sending configurationUnloaded to devicestack! on "
                           "fire"}}},
        ThrowingExitStep{"KnxCommunicationOff",
                         "3.1:3",
                         false,
                         false,
                         {{"ERROR", "[App] Exit - Unexpected failure: on fire"},
                          {"ERROR", "[App] Exit - Failed to signal disabled KNX communication"}}},
        ThrowingExitStep{"Join",
                         "",
                         true,
                         false,
                         {{"ERROR", "[App] StopInitThread - Unexpected failure: on fire"},
                          {"WARN", "[App] Exit - Failed to stop init thread."}}},
        ThrowingExitStep{"Reset", "enabled", false, false, {{"ERROR", "[App] Exit - Unexpected failure: on fire"}}},
        ThrowingExitStep{"Release", "", false, true, {{"ERROR", "[App] Exit - Unexpected failure: on fire"}}}),
    [](const auto& instance) { return instance.param.name; });

/// The step that ends the process throws: the gate after the join ends it.
TEST_F(ProgramExit, KillsTheAppHostWhenItsStopThrows) {
    Start();
    client_.onSend = [](const std::string& json) {
        if (json.find("3.1:1") != std::string::npos) {
            throw std::runtime_error("on fire");
        }
    };

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(GetChildren().empty());
    ExpectHostLines(UnloadedSignalled + SignalledOff +
                    Lines{{"INFO", "Stop - Stop of app host requested."},
                          {"INFO", "[App] SendAppControlEventStop - Sending shutdown signal as RSM event"},
                          {"DEBUG", "~MeasureDuration - Stopping app host took"},
                          {"ERROR", "[App] Exit - Unexpected failure: on fire"}} +
                    ThreadsStopped +
                    Lines{{"DEBUG", "KillProcess - Nothing to kill"},
                          {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                          {"INFO", "KillProcess - App host killed"},
                          {"INFO", "Stop - Waiting for app host process to exit"},
                          {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                          {"FATAL", "Stop (SOURCE) - App host process exited with -1"}} +
                    Disconnected);
}

}  // namespace
