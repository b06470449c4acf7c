#include "ProgramFixture.h"

namespace {

using namespace Program;

constexpr const char* Launched = "LaunchNativeApp";

/// What ends a process that nobody asked to shut down.
const Lines LinesOfAKill{{"DEBUG", "KillProcess - Nothing to kill"},
                         {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                         {"INFO", "KillProcess - App host killed"},
                         {"INFO", "Stop - Waiting for app host process to exit"},
                         {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                         {"FATAL", "Stop (SOURCE) - App host process exited with -1"}};

/// A cycle that is about to launch its app host.
class ProgramGates : public ProgramFixture {
protected:
    /// Lets the cycle launch once the host has stopped the app host.
    void LaunchOnceStopHasLooked() {
        OnceStopHasLooked([this] {
            client_.AnswerHeld();
            EXPECT_TRUE(WaitForLine("Launched native app"));
        });
    }
};

TEST_F(ProgramGates, ExitKillsWhatWasLaunchedAfterTheStop) {
    GivenACycleBeforeItsLaunch();
    LaunchOnceStopHasLooked();

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(TakeLinesAfterJoin(), LinesOfAKill + Lines({{"INFO", "~MeasureDuration - Disconnecting from dsc took"}}));
}

TEST_F(ProgramGates, RestartKillsWhatWasLaunchedAfterTheStop) {
    GivenACycleBeforeItsLaunch();
    LaunchOnceStopHasLooked();
    // Not by a load event: that one waits for the cycle.
    stack_.LoadState(TestSupport::FakeKnxStack::ApplicationObject).ServeFrom([](KnxStack::BinaryData& data) {
        data = KnxStack::BinaryData({0});
        return true;
    });

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(TakeLinesAfterJoin(),
              LinesOfAKill +
                  Lines({{"INFO", "[App] OnDeviceRestart - Resetting downloaded knx configuration"},
                         {"DEBUG", "[App] StartInitThread - Started a new thread for updating enabled objects."}}));
}

TEST_F(ProgramGates, RunStateOfWhatWasLaunchedAfterTheStopIsCorrected) {
    GivenACycleBeforeItsLaunch();
    LaunchOnceStopHasLooked();

    EXPECT_EQ(sut_->Exit(), Exited);

    const auto requests = deviceStack_.GetRequests();
    ASSERT_GE(requests.size(), 2U);
    EXPECT_EQ(Requests(requests.end() - 2, requests.end()), (Requests{SetValue(State, "3.1:0"), Disable()}));
    EXPECT_EQ(std::count(requests.begin(), requests.end(), SetValue(State, "3.1:0")), 2);
}

TEST_F(ProgramGates, RunStateOfAnAppThatDoesNotStopIsCorrected) {
    Start();
    clock_->onHostSleep = [] {};

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"),
                                                    SetValue(State, "3.1:0"), Disable()}));
}

TEST_F(ProgramGates, CycleOfADeletedProgramLaunchesNothing) {
    GivenACycleBeforeItsLaunch();

    sut_.reset();  // ends the held request, too

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasLine("[App] LaunchApp - Interruption signaled."));
    EXPECT_FALSE(HasLine(Launched));
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_TRUE(stack_.GetRunStates().empty());
}

TEST_F(ProgramGates, AppHostOfADeletedProgramIsKilled) {
    Start();

    sut_.reset();

    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(TakeHostLines(), LinesOfAKill + Lines({{"DEBUG", "Terminate - Stopping all ticker threads."}}));
}

TEST_F(ProgramGates, AppHostOfADeletedProgramIsKilledWhileItsCycleStillWaits) {
    std::atomic<bool> isWaiting{false};
    std::atomic<bool> isReleased{false};
    clock_->onCycleSleep = [&isWaiting, &isReleased] {
        isWaiting = true;
        WaitUntil([&isReleased] { return isReleased.load(); });
    };
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitUntil([&isWaiting] { return isWaiting.load(); }));
    ASSERT_EQ(GetChildren().size(), 1U);

    sut_.reset();
    EXPECT_TRUE(GetChildren().empty());
    isReleased = true;

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(stack_.GetRunStates().empty());
}

}  // namespace
