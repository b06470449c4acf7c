#include <gtest/gtest.h>

#include <boost/thread/scoped_thread.hpp>
#include <functional>

#include "AppHostProcessFixture.h"

namespace {

using AppSideTools::AppHostControlState;
using AppSideTools::Lines;
using AppSideTools::operator+;
using AppSideTools::Report;
using boost::chrono::milliseconds;
using Zandrel::AppHostProcessControl;

const Lines KillOfTheConnectorHost{{"INFO", "KillProcess (SOURCE) - Have to kill process App connector host"},
                                   {"INFO", "KillProcess - App connector host killed"}};
const Lines KillOfTheAppHost{{"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                             {"INFO", "KillProcess - App host killed"}};
const Lines EndOfTheConnectorHost{{"INFO", "Stop - Waiting for connector app host process to exit"},
                                  {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                                  {"FATAL", "Stop (SOURCE) - Connector app host process exited with -1"}};
const Lines EndOfTheAppHost{{"INFO", "Stop - Waiting for app host process to exit"},
                            {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                            {"FATAL", "Stop (SOURCE) - App host process exited with -1"}};
const Lines RefusedShutDown{
    {"INFO", "Stop - Stop of app host requested."},
    {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."}};
const Lines StopOfBoth{{"DEBUG", "~MeasureDuration - Stopping app host and connector app host took"}};
const Lines StopOfTheConnectorHost{{"DEBUG", "~MeasureDuration - Stopping connector app host took"}};
const Lines RequestToStopTheConnectorHost{{"INFO", "StopManagedApp - Stop of managed connector host requested."}};

Lines LaunchOf(const std::string& app) {
    return {{"INFO",
             "LaunchManagedApp - Launching app connector host (Command Line = /usr/bin/mono --runtime=v4.0 host.exe " +
                 app + " 127.0.0.1)."},
            {"INFO", "operator() - Launched managed app (pid: N)"}};
}

using ConnectorHostLaunch = AppHostProcessFixture;

TEST_F(ConnectorHostLaunch, StartsMonoWithTheConnectorHostAndTheApp) {
    EXPECT_TRUE(LaunchManaged("/opt/userdata/ornApp/1/My.dll"));

    ExpectLines(LaunchOf("/opt/userdata/ornApp/1/My.dll"));
    const auto children = GetChildren();
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(GetCommandLine(children[0]),
              "/usr/bin/mono --runtime=v4.0 host.exe /opt/userdata/ornApp/1/My.dll 127.0.0.1");
}

TEST_F(ConnectorHostLaunch, ProcessIdInTheLogIsTheConnectorHosts) {
    ASSERT_TRUE(LaunchManaged("pause"));

    EXPECT_EQ(log_.GetLines().back().text,
              "operator() - Launched managed app (pid: " + std::to_string(GetChildren().at(0)) + ")");
}

TEST_F(ConnectorHostLaunch, FailureToStartIsFatal) {
    SystemFaults::mono = "/missing/mono";

    EXPECT_FALSE(LaunchManaged("app.dll"));

    ExpectLines({{"INFO",
                  "LaunchManagedApp - Launching app connector host (Command Line = /usr/bin/mono --runtime=v4.0 "
                  "host.exe app.dll 127.0.0.1)."},
                 {"FATAL",
                  "operator() - Failed to create connector app host process (host.exe), error: No such file or "
                  "directory (system:2)"}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostLaunch, NothingIsStartedOnceTheRunFlagIsCleared) {
    control_.running = false;

    EXPECT_FALSE(LaunchManaged("pause"));

    ExpectLines({{"INFO", "LaunchManagedApp - Interruption signaled."}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostLaunch, LaunchThatHasPassedTheFlagIsSeenByWhoeverClearsIt) {
    ExpectNothingOutlivesAStopAt("Launching app connector host", [this] { return LaunchManaged("pause"); });
}

TEST_F(ConnectorHostLaunch, NothingIsStartedOnceTheDebugSwitchHasDisabledIt) {
    sut_->GetConfiguration().SetAppConnectorHostStartupDisabled(true);

    EXPECT_TRUE(LaunchManaged("pause"));

    ExpectLines({{"DEBUG", "LaunchManagedApp - Debug mode set, did not launch connector host!"}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostLaunch, LiveConnectorHostIsKilledBeforeItIsReplaced) {
    GivenAppHost();
    GivenConnectorHost();

    EXPECT_TRUE(LaunchManaged("second"));

    ExpectLines(KillOfTheConnectorHost + EndOfTheConnectorHost + LaunchOf("second"));
    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ConnectorHostLaunch, NothingIsStartedBesideAConnectorHostThatCannotBeKilled) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    GivenConnectorHost();
    SystemFaults::killsAreLost = true;

    EXPECT_FALSE(LaunchManaged("second"));

    SystemFaults::killsAreLost = false;
    ExpectLines(
        KillOfTheConnectorHost +
        Lines{{"INFO", "Stop - Waiting for connector app host process to exit"},
              {"ERROR", "Stop - Connector app host process (pid: N) did not exit in time although it was killed"}});
    ASSERT_EQ(GetChildren().size(), 1U);
    End(GetChildren().at(0));
}

TEST_F(ConnectorHostLaunch, LeftOverProcessesAreBothKilledWithoutAskingTheApp) {
    shutDown_ = [] {
        ADD_FAILURE() << "the app was asked";
        return true;
    };
    GivenConnectorHost();
    GivenAppHost();

    EXPECT_TRUE(sut_->KillLeftOver());

    ExpectLines(KillOfTheConnectorHost + KillOfTheAppHost + EndOfTheConnectorHost + EndOfTheAppHost);
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_FALSE(sut_->KillLeftOver());
    ExpectLines({});
}

TEST_F(ConnectorHostLaunch, DestructorKillsTheConnectorHost) {
    GivenConnectorHost();

    sut_.reset();

    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostLaunch, DestructorGivesUpAConnectorHostThatCannotBeKilled) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    GivenConnectorHost();
    const int pid = GetChildren().at(0);
    SystemFaults::killsAreLost = true;

    sut_.reset();

    SystemFaults::killsAreLost = false;
    EXPECT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

class ConnectorHostStop : public AppHostProcessFixture {
protected:
    /// The app host of a managed app; forgets the lines of its launch.
    void GivenConnector() {
        ASSERT_TRUE(sut_->LaunchNativeApp(control_, AppSideTools::FirstDevice, TEST_CHILD, "pause",
                                          AppHostProcessControl::ConnectorApp));
        log_.TakeLines();
    }
};

TEST_F(ConnectorHostStop, StopKillsBothAndReapsTheConnectorHostFirst) {
    GivenConnectorHost();
    GivenAppHost();

    sut_->Stop();

    ExpectLines(RefusedShutDown + KillOfTheConnectorHost + KillOfTheAppHost + EndOfTheConnectorHost + EndOfTheAppHost +
                StopOfBoth);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostStop, WaitForTheAppNamesTheManagedOne) {
    GivenConnectorHost();
    GivenAppHost();
    shutDown_ = [] { return true; };
    Report(*sut_, AppHostControlState::Stopped);

    sut_->Stop();

    EXPECT_EQ(log_.GetLines().at(1), (LogLine{"INFO", "Stop - Managed: Waiting for app to terminate"}));
}

TEST_F(ConnectorHostStop, WaitForTheAppNamesTheManagedOneWhoseConnectorHostIsADevelopers) {
    shutDown_ = [] { return true; };
    Report(*sut_, AppHostControlState::Stopped);
    GivenConnectorHost();
    GivenConnector();
    sut_->StopManagedApp();
    log_.TakeLines();

    sut_->Stop();

    EXPECT_EQ(log_.TakeLines().at(1), (LogLine{"INFO", "Stop - Managed: Waiting for app to terminate"}));
    sut_->GetConfiguration().SetAppConnectorHostStartupDisabled(true);
    ASSERT_TRUE(sut_->LaunchManagedApp(control_, "host.exe", "pause", "Next"));
    GivenConnector();

    sut_->Stop();

    EXPECT_EQ(log_.GetLines().at(1), (LogLine{"INFO", "Stop - Next: Waiting for app to terminate"}));
}

TEST_F(ConnectorHostStop, WaitForTheAppNamesTheNativeOneAfterAManagedOne) {
    shutDown_ = [] { return true; };
    Report(*sut_, AppHostControlState::Stopped);
    GivenConnectorHost();
    sut_->Stop();
    GivenAppHost();

    sut_->Stop();

    EXPECT_EQ(log_.GetLines().at(1), (LogLine{"INFO", "Stop - MyApp: Waiting for app to terminate"}));
}

TEST_F(ConnectorHostStop, ConnectorHostWithoutAnAppHostIsStopped) {
    GivenConnectorHost();

    sut_->Stop();

    ExpectLines(RefusedShutDown + KillOfTheConnectorHost + Lines{{"DEBUG", "KillProcess - Nothing to kill"}} +
                EndOfTheConnectorHost +
                Lines{{"INFO", "Stop - Waiting for app host process to exit"},
                      {"INFO", "Stop - App host process exited with 0"}} +
                StopOfBoth);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostStop, ConnectorHostThatEndedByItselfIsReaped) {
    ASSERT_TRUE(LaunchManaged("end"));
    siginfo_t info{};
    ASSERT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOWAIT), 0);
    log_.TakeLines();

    sut_->Stop();

    ExpectLines(RefusedShutDown + KillOfTheConnectorHost +
                Lines{{"DEBUG", "KillProcess - Nothing to kill"},
                      {"INFO", "Stop - Waiting for connector app host process to exit"},
                      {"INFO", "Stop - Connector app host process exited with 0"},
                      {"INFO", "Stop - Waiting for app host process to exit"},
                      {"INFO", "Stop - App host process exited with 0"}} +
                StopOfBoth);
}

TEST_F(ConnectorHostStop, FailedKillIsReportedAndTheWaitFollows) {
    GivenConnectorHost("end");
    ASSERT_GT(waitpid(-1, nullptr, 0), 0);

    sut_->Stop();

    EXPECT_EQ(log_.GetLines().at(3),
              (LogLine{"ERROR", "KillProcess - App connector host failed to terminate (system:3, No such process)"}));
    EXPECT_EQ(log_.GetLines().at(6), (LogLine{"INFO", "Stop - Connector app host process exited with 0"}));
}

TEST_F(ConnectorHostStop, StopManagedAppKillsTheConnectorHostAlone) {
    GivenConnectorHost();
    GivenAppHost();

    sut_->StopManagedApp();

    ExpectLines(RequestToStopTheConnectorHost +
                Lines{{"INFO", "StopManagedApp - Waiting for managed connector host to have terminated..."}} +
                KillOfTheConnectorHost +
                Lines{{"INFO", "StopManagedApp - Waiting for managed connector host process to exit"},
                      {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                      {"INFO", "StopManagedApp - Managed connector app host process exited with -1"}} +
                StopOfTheConnectorHost);
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ConnectorHostStop, StopManagedAppTellsTheStatusOfAConnectorHostThatEndedByItself) {
    ASSERT_TRUE(LaunchManaged("exit"));
    siginfo_t info{};
    ASSERT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOWAIT), 0);
    log_.TakeLines();

    sut_->StopManagedApp();

    EXPECT_EQ(log_.GetLines().at(5),
              (LogLine{"INFO", "StopManagedApp - Managed connector app host process exited with 127"}));
}

TEST_F(ConnectorHostStop, StopManagedAppFindsNothingWhereNothingRuns) {
    GivenAppHost();

    sut_->StopManagedApp();

    ExpectLines(RequestToStopTheConnectorHost +
                Lines{{"INFO", "StopManagedApp - No running managed connector host process found"}});
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ConnectorHostStop, ConnectorHostThatCannotBeKilledIsLeftToTheNextStop) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    GivenConnectorHost();
    SystemFaults::killsAreLost = true;

    sut_->StopManagedApp();

    SystemFaults::killsAreLost = false;
    ExpectLines(
        RequestToStopTheConnectorHost +
        Lines{{"INFO", "StopManagedApp - Waiting for managed connector host to have terminated..."}} +
        KillOfTheConnectorHost +
        Lines{{"INFO", "StopManagedApp - Waiting for managed connector host process to exit"},
              {"ERROR",
               "StopManagedApp - Managed connector app host process (pid: N) did not exit in time although it was "
               "killed"}} +
        StopOfTheConnectorHost);
    ASSERT_EQ(GetChildren().size(), 1U);
    End(GetChildren().at(0));

    sut_->StopManagedApp();

    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ConnectorHostStop, StopAndStopManagedAppAtOnceSignalAndReapTheProcessOnce) {
    constexpr int Rounds = 50;
    const int strayCalls = SystemFaults::strayCalls;
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), std::make_shared<Zandrel::Clock>());
    sut_->SetShutDownFunction([] { return false; });
    const auto repeat = [](const std::function<void()>& step) {
        return boost::scoped_thread<>([step] {
            for (int round = 0; round < Rounds; ++round) {
                step();
            }
        });
    };
    {
        const auto launching = repeat([this] { EXPECT_TRUE(LaunchManaged("pause")); });
        const auto stopping = repeat([this] { sut_->Stop(); });
        const auto stoppingManaged = repeat([this] { sut_->StopManagedApp(); });
    }
    sut_->StopManagedApp();

    EXPECT_EQ(SystemFaults::strayCalls, strayCalls);
    EXPECT_TRUE(GetChildren().empty());
    ExpectLaunchesAndEnds("managed app", Rounds);
}

}  // namespace
