#include <gtest/gtest.h>

#include <functional>

#include "AppHostProcessFixture.h"

namespace {

using AppSideTools::AppHostControlState;
using AppSideTools::HookedClock;
using AppSideTools::LogLine;
using AppSideTools::Report;
using AppSideTools::SecondDevice;
using boost::chrono::milliseconds;
using boost::chrono::seconds;
using Zandrel::AppHostProcessControl;
using Zandrel::OrnProcessHandle;

class AppHostStop : public AppHostProcessFixture {
protected:
    /// The lines that come before those of the kill.
    static std::vector<LogLine> LinesOfARefusedShutDown() {
        return {{"INFO", "Stop - Stop of app host requested."},
                {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."}};
    }

    static std::vector<LogLine> Join(std::vector<LogLine> lines, const std::vector<LogLine>& more) {
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    }

    const LogLine duration_{"DEBUG", "~MeasureDuration - Stopping app host took"};
};

TEST_F(AppHostStop, TriesToShutDownEvenWhenNothingRuns) {
    sut_->Stop();

    ExpectLines(Join(LinesOfARefusedShutDown(),
                     {{"INFO", "Stop - No running app host on this machine to be terminated"}, duration_}));
}

TEST_F(AppHostStop, WithoutAnAppTheWaitNamesNone) {
    shutDown_ = [] { return true; };
    Report(*sut_, AppHostControlState::Stopped);

    sut_->Stop();

    ExpectLines({{"INFO", "Stop - Stop of app host requested."},
                 {"INFO", "Stop - : Waiting for app to terminate"},
                 {"INFO", "Stop - Application terminated successfully."},
                 {"INFO", "Stop - No running app host on this machine to be terminated"},
                 duration_});
}

TEST_F(AppHostStop, AppThatReportsStoppedIsKilledAndReapedAllTheSame) {
    GivenAppHost();
    shutDown_ = [] { return true; };
    clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Stopped); };

    sut_->Stop();

    EXPECT_EQ(clock_->sleeps.size(), 1U);
    ExpectLines(Join(Join({{"INFO", "Stop - Stop of app host requested."},
                           {"INFO", "Stop - MyApp: Waiting for app to terminate"},
                           {"INFO", "Stop - Application terminated successfully."}},
                          LinesOfAKill()),
                     {duration_}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostStop, AppThatIgnoresTheShutDownIsKilledAfterTenSeconds) {
    GivenAppHost();
    shutDown_ = [] { return true; };
    Report(*sut_, AppHostControlState::Running);

    sut_->Stop();

    EXPECT_EQ(clock_->now, HookedClock::TimePoint(seconds(10)));
    ExpectLines(Join(Join({{"INFO", "Stop - Stop of app host requested."},
                           {"INFO", "Stop - MyApp: Waiting for app to terminate"},
                           {"ERROR",
                            "Stop - App host did not stop in time (10 seconds). Current run state:  Running (2). Will "
                            "kill it now"}},
                          LinesOfAKill()),
                     {duration_}));
    EXPECT_EQ(sut_->GetRunState(), AppHostControlState::Running);
}

TEST_F(AppHostStop, UnknownRunStateIsShownAsDashes) {
    shutDown_ = [] { return true; };

    sut_->Stop();

    ExpectLines(
        {{"INFO", "Stop - Stop of app host requested."},
         {"INFO", "Stop - : Waiting for app to terminate"},
         {"ERROR", "Stop - App host did not stop in time (10 seconds). Current run state: --. Will kill it now"},
         {"INFO", "Stop - No running app host on this machine to be terminated"},
         duration_});
}

TEST_F(AppHostStop, AppThatCannotBeAskedIsKilledAtOnce) {
    GivenAppHost();

    sut_->Stop();

    EXPECT_TRUE(clock_->sleeps.empty());
    ExpectLines(Join(Join(LinesOfARefusedShutDown(), LinesOfAKill()), {duration_}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostStop, KillOfAnAppHostThatEndedByItselfSucceeds) {
    GivenEndedAppHost("end");

    sut_->Stop();

    ExpectLines(Join(LinesOfARefusedShutDown(), {{"DEBUG", "KillProcess - Nothing to kill"},
                                                 {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                                                 {"INFO", "KillProcess - App host killed"},
                                                 {"INFO", "Stop - Waiting for app host process to exit"},
                                                 {"INFO", "Stop - App host process exited with 0"},
                                                 duration_}));
}

TEST_F(AppHostStop, ExitStatusThatIsNotZeroIsFatal) {
    GivenEndedAppHost("exit", SecondDevice);

    sut_->Stop();

    const auto lines = AppSideTools::Comparable(log_.TakeLines());
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], (LogLine{"FATAL", "Stop (SOURCE) - App host process exited with 2"}));
}

TEST_F(AppHostStop, FailedKillIsReportedAndTheWaitFollows) {
    GivenAppHost("end");
    ASSERT_GT(waitpid(-1, nullptr, 0), 0);

    sut_->Stop();

    ExpectLines(Join(LinesOfARefusedShutDown(),
                     {{"DEBUG", "KillProcess - Nothing to kill"},
                      {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                      {"ERROR", "KillProcess - App host failed to terminate (system:3, No such process)"},
                      {"INFO", "Stop - Waiting for app host process to exit"},
                      {"INFO", "Stop - App host process exited with 0"},
                      duration_}));
}

TEST_F(AppHostStop, SecondStopFindsNothing) {
    GivenAppHost();
    sut_->Stop();
    log_.TakeLines();

    sut_->Stop();

    ExpectLines(Join(LinesOfARefusedShutDown(),
                     {{"INFO", "Stop - No running app host on this machine to be terminated"}, duration_}));
}

TEST_F(AppHostStop, WithoutAShutDownFunctionItThrows) {
    sut_->SetShutDownFunction(nullptr);

    EXPECT_THROW(sut_->Stop(), std::bad_function_call);
}

TEST_F(AppHostStop, AppHostThatCannotBeKilledIsLeftToTheNextStop) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    sut_->SetShutDownFunction([] { return false; });
    GivenAppHost();
    SystemFaults::killsAreLost = true;

    sut_->Stop();

    ExpectLines(Join(LinesOfARefusedShutDown(),
                     {{"DEBUG", "KillProcess - Nothing to kill"},
                      {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                      {"INFO", "KillProcess - App host killed"},
                      {"INFO", "Stop - Waiting for app host process to exit"},
                      {"ERROR", "Stop - App host process (pid: N) did not exit in time although it was killed"},
                      duration_}));
    EXPECT_EQ(GetChildren().size(), 1U);

    SystemFaults::killsAreLost = false;
    kill(GetChildren().at(0), SIGKILL);
    siginfo_t info{};
    waitid(P_ALL, 0, &info, WEXITED | WNOWAIT);
    sut_->Stop();
    ExpectLines(Join(Join(LinesOfARefusedShutDown(), LinesOfAKill()), {duration_}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostStop, KillProcessWithoutAProcessDoesNothing) {
    const int calls = SystemFaults::killCalls;

    sut_->KillProcess(OrnProcessHandle(), "App connector host");

    ExpectLines({{"DEBUG", "KillProcess - Nothing to kill"}});
    EXPECT_EQ(SystemFaults::killCalls, calls);
}

TEST_F(AppHostStop, KillProcessNamesTheProcessAndDoesNotReapIt) {
    OrnProcessHandle process = ProcessTestTools::Start({"pause"});

    sut_->KillProcess(process, "App connector host");

    ExpectLines({{"INFO", "KillProcess (SOURCE) - Have to kill process App connector host"},
                 {"INFO", "KillProcess - App connector host killed"}});
    EXPECT_TRUE(process.HoldsProcess());
    EXPECT_EQ(process.Wait(), -1);
}

}  // namespace
