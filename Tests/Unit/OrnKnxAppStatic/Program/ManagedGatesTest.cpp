#include "DebugModeFixture.h"

namespace {

using namespace Program;

const Lines LinesOfAConnectorHostsKill{{"INFO", "KillProcess (SOURCE) - Have to kill process App connector host"},
                                       {"INFO", "KillProcess - App connector host killed"},
                                       {"DEBUG", "KillProcess - Nothing to kill"},
                                       {"INFO", "Stop - Waiting for connector app host process to exit"},
                                       {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                                       {"FATAL", "Stop (SOURCE) - Connector app host process exited with -1"},
                                       {"INFO", "Stop - Waiting for app host process to exit"},
                                       {"INFO", "Stop - App host process exited with 0"}};

/// A cycle of a managed app that comes between its two launches, and goes on from there when it is joined.
class ProgramManagedGates : public ProgramDebugMode {
protected:
    ProgramManagedGates() {
        SystemFaults::isSomebodyHeld = false;
        SystemFaults::heldFile = AppSideTools::AppHost;
        clock_->onHostSleep = [] {};  // the app does not stop
        clock_->onJoin = [] { SystemFaults::heldFile = nullptr; };
    }
    void TearDown() override {
        SystemFaults::heldFile = nullptr;
        ProgramDebugMode::TearDown();
    }

    void WaitUntilBetween() const {
        EXPECT_TRUE(WaitUntil([] { return SystemFaults::isSomebodyHeld.load(); }));
        EXPECT_TRUE(HasLine("operator() - Launched managed app"));
        EXPECT_EQ(GetChildren().size(), 1U);
    }
    void GivenACycleBetweenItsLaunches() {
        ASSERT_EQ(sut_->Init(stack_), Started);
        WaitUntilBetween();
        Report(AppHostControlState::Running);
        Forget();
    }
    /// The app host is left to the next cycle.
    void ExpectNoAppHostOfThisCycle() const {
        EXPECT_TRUE(HasWholeLine({"INFO", "LaunchNativeApp - Interruption signaled."}));
        EXPECT_TRUE(HasWholeLine({"FATAL", "[App] LaunchApp - Starting app host failed."}));
    }
};

TEST_F(ProgramManagedGates, ExitBetweenTheLaunchesKillsTheConnectorHostAndLaunchesNoAppHost) {
    GivenACycleBetweenItsLaunches();

    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectNoAppHostOfThisCycle();
    EXPECT_FALSE(HasLine("Launched native app"));
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_TRUE(stack_.GetRunStates().empty());
    EXPECT_THAT(TakeHostLines(), testing::IsSupersetOf(LinesOfAConnectorHostsKill));
}

TEST_F(ProgramManagedGates, RestartBetweenTheLaunchesLeavesThemToTheNextCycle) {
    GivenACycleBetweenItsLaunches();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ExpectNoAppHostOfThisCycle();
    EXPECT_TRUE(WaitUntil([this] { return !stack_.GetRunStates().empty(); }));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true});
    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ProgramManagedGates, ConnectorHostLaunchedAfterTheStopIsKilledByExit) {
    GivenACycleBeforeItsLaunch();
    OnceStopHasLooked([this] {
        client_.AnswerHeld();
        WaitUntilBetween();
    });

    EXPECT_EQ(sut_->Exit(), Exited);

    ExpectNoAppHostOfThisCycle();
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(TakeLinesAfterJoin(),
              LinesOfAConnectorHostsKill + Lines({{"INFO", "~MeasureDuration - Disconnecting from dsc took"}}));
    const auto requests = deviceStack_.GetRequests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), SetValue(State, "3.1:0")), 2);
}

TEST_F(ProgramManagedGates, ConnectorHostLaunchedAfterTheStopIsKilledByARestart) {
    GivenACycleBeforeItsLaunch();
    OnceStopHasLooked([this] {
        client_.AnswerHeld();
        WaitUntilBetween();
    });

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ExpectNoAppHostOfThisCycle();
    EXPECT_TRUE(WaitForLine("Done: app host and connector app host running."));
    EXPECT_EQ(GetChildren().size(), 2U);
    EXPECT_THAT(TakeHostLines(), testing::IsSupersetOf(LinesOfAConnectorHostsKill));
}

TEST_F(ProgramManagedGates, BothLaunchedAfterTheStopAreKilledByExit) {
    SystemFaults::heldFile = nullptr;
    GivenACycleBeforeItsLaunch();
    OnceStopHasLooked([this] {
        client_.AnswerHeld();
        EXPECT_TRUE(WaitForLine("Launched native app"));
        EXPECT_EQ(GetChildren().size(), 2U);
    });

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(GetChildren().empty());
    EXPECT_TRUE(HasWholeLine({"INFO", "KillProcess - App connector host killed"}));
    EXPECT_TRUE(HasWholeLine({"INFO", "KillProcess - App host killed"}));
}

}  // namespace
