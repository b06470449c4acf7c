#include <algorithm>

#include "LifeCycleFixture.h"
#include "ScopedEnvironment.h"
#include "ThreadShortage.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LifeCycle {
namespace {

class CycleTest : public LifeCycleFixture {
protected:
    /// Runs the first cycle to its end and returns its lines.
    Lines RunFirstCycle() {
        EXPECT_EQ(sut_->Init(hub_), Started);
        WaitForCycleEnd();
        return GetCycleLines();
    }
};

TEST_F(CycleTest, CycleInDebugModeLaunchesNothingAndReportsThatTheAppRuns) {
    const TestSupport::ScopedEnvironment disabled("ORN_APP_HOST_STARTUP_DISABLED", "1");
    MakeProgram();

    const Lines lines = RunFirstCycle();

    const auto from = std::find(lines.begin(), lines.end(),
                                "INFO ConfigureObjectModel - Object model configured "
                                "successfully.");
    ASSERT_NE(from, lines.end());
    EXPECT_EQ(
        Lines(from + 1, lines.end()),
        (Lines{"DEBUG operator() - Debug mode set, did not launch app host!",
               "DEBUG operator() - Set runstate to running",
               "INFO SignalAppHostKnxCommunicationState - Signal KNX communication 'on'.",
               "DEBUG operator() - Starting reset timer.", "DEBUG StartDeviceResetTimer - DeviceResetTimer started.",
               "DEBUG operator() - Thread finished."}));
    EXPECT_FALSE(HasChild());
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true});
    EXPECT_EQ(Exit().result, Exited);
}

TEST_F(CycleTest, CycleWithoutApplicationMemoryReportsTheErrorAndEnds) {
    stack_.RemoveMemory();

    const Lines lines = RunFirstCycle();

    EXPECT_EQ(lines, (Lines{"DEBUG operator() - Thread started.",
                            "FATAL InitApplicationProgram1Memory - Retrieving ApplicationPrg1 memory failed.",
                            "FATAL operator() - Failed to init AppPrg1 memory!"}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
    EXPECT_EQ(Exit().result, Exited);
}

TEST_F(CycleTest, InitFailsWhenThereIsNoThreadForTheCycle) {
    const auto init = [this] { return sut_->Init(hub_); };
    {
        const TestSupport::ThreadShortage shortage;
        const Call call = Measure(init);
        EXPECT_EQ(call.result, Failure);
        EXPECT_EQ(call.lines.back(), "ERROR Init - StartInitThread() failed.");
    }
    EXPECT_EQ(Exit().result, Exited);
}

TEST_F(CycleTest, RestartFailsWhenThereIsNoThreadForTheCycleAndALaterOneIsAccepted) {
    RunFirstCycle();
    {
        const TestSupport::ThreadShortage shortage;
        const Call call = Restart();
        EXPECT_EQ(call.result, Failure);
        EXPECT_EQ(call.lines.back(), "DEBUG OnDeviceRestart - Failed to start init thread.");
    }
    ExpectThatARestartWorks();
    EXPECT_EQ(Exit().result, Exited);
}

TEST_F(CycleTest, CycleBehindADetachedOneWaitsForItAndEndsWhenItIsAsked) {
    StartCycle(Origin::Init, Stop::ChangeEnd);  // which cannot be interrupted
    clock_->threadIsHeld = true;
    ASSERT_EQ(Restart().result, Failure);
    clock_->threadIsHeld = false;
    clock_->onJoin = [] {};
    ASSERT_EQ(Restart().result, Started);

    EXPECT_EQ(Exit().result, Exited);

    EXPECT_EQ(CountLines("operator() - Finishing init thread as it has been requested to stop."), 1);
    EXPECT_EQ(CountLines("operator() - Thread started."), 1) << "the second cycle has begun";
}

TEST_F(CycleTest, LateValuesAfterTheExitMoveNothing) {
    RunFirstCycle();
    ASSERT_EQ(Exit().result, Exited);
    const int touches = stack_.CountTouches();
    const auto co = *Zandrel::KnxOdsMapping::GetCoValueObjModelId(1, 1);

    EXPECT_TRUE(sut_->OnValueChanged(Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(1), "", "2.1:1"));
    EXPECT_TRUE(sut_->OnValueChanged(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(1), "", "3.1:2"));
    EXPECT_FALSE(sut_->OnValueChanged(co, "", "1.1:Hello"));

    EXPECT_EQ(CountLines("DeviceResetTimer started."), 1) << "the late heartbeat armed the timer";
    EXPECT_EQ(stack_.CountTouches(), touches);
}

}  // namespace
}  // namespace LifeCycle
