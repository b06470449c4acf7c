#include "AppHostProcessControl.h"

#include <gtest/gtest.h>

#include <boost/thread/barrier.hpp>
#include <boost/thread/scoped_thread.hpp>

#include "AppHostProcessFixture.h"

namespace {

using AppSideTools::FirstDevice;
using AppSideTools::LogLine;
using AppSideTools::SecondDevice;
using boost::chrono::milliseconds;
using Zandrel::AppHostProcessControl;
using Zandrel::ThreadControl;

class AppHostLaunch : public AppHostProcessFixture {
protected:
    static std::vector<LogLine> LinesOfALaunch(const std::string& arguments) {
        return {{"INFO", "LaunchNativeApp - Launching app host (Command Line = " TEST_CHILD " " + arguments + ")."},
                {"INFO", "operator() - Launched native app (pid: N)"}};
    }
};

TEST_F(AppHostLaunch, StartsTheAppHostWithLibraryAndLogicalDevice) {
    EXPECT_TRUE(Launch("/opt/userdata/orn/libornmyapp.so", SecondDevice));

    ExpectLines(LinesOfALaunch("/opt/userdata/orn/libornmyapp.so 2"));
    const auto children = GetChildren();
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(GetCommandLine(children[0]), TEST_CHILD " /opt/userdata/orn/libornmyapp.so 2");
}

TEST_F(AppHostLaunch, ProcessIdInTheLogIsTheAppHosts) {
    ASSERT_TRUE(Launch("pause"));

    EXPECT_EQ(log_.GetLines().back().text,
              "operator() - Launched native app (pid: " + std::to_string(GetChildren().at(0)) + ")");
}

TEST_F(AppHostLaunch, FailureToStartIsReported) {
    EXPECT_FALSE(sut_->LaunchNativeApp(control_, FirstDevice, "/missing/ornapphost", "/lib.so", "MyApp"));

    ExpectLines({{"INFO", "LaunchNativeApp - Launching app host (Command Line = /missing/ornapphost /lib.so 1)."},
                 {"ERROR",
                  "operator() - Failed to create app host process (/missing/ornapphost), error: No such file or "
                  "directory (system:2)"}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostLaunch, FailedLaunchChangesNoName) {
    GivenAppHost();
    EXPECT_FALSE(sut_->LaunchNativeApp(control_, FirstDevice, "/missing/ornapphost", "/lib.so", "Other"));
    log_.TakeLines();
    shutDown_ = [] { return true; };

    sut_->Stop();

    EXPECT_EQ(log_.GetLines().at(1), (LogLine{"INFO", "Stop - MyApp: Waiting for app to terminate"}));
}

TEST_F(AppHostLaunch, NothingIsStartedOnceTheRunFlagIsCleared) {
    control_.running = false;

    EXPECT_FALSE(Launch("pause"));

    ExpectLines({{"INFO", "LaunchNativeApp - Interruption signaled."}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostLaunch, LiveAppHostIsKilledBeforeItIsReplaced) {
    GivenAppHost("first");

    EXPECT_TRUE(Launch("second"));

    auto lines = LinesOfAKill();
    lines.erase(lines.begin());  // the connector host is not looked at
    const auto launch = LinesOfALaunch("second 1");
    lines.insert(lines.end(), launch.begin(), launch.end());
    ExpectLines(lines);
    ASSERT_EQ(GetChildren().size(), 1U);
    EXPECT_EQ(GetCommandLine(GetChildren()[0]), TEST_CHILD " second 1");
}

TEST_F(AppHostLaunch, NothingIsStartedBesideAnAppHostThatCannotBeKilled) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    GivenAppHost("first");
    SystemFaults::killsAreLost = true;

    EXPECT_FALSE(Launch("second"));

    SystemFaults::killsAreLost = false;
    ExpectLines({{"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                 {"INFO", "KillProcess - App host killed"},
                 {"INFO", "Stop - Waiting for app host process to exit"},
                 {"ERROR", "Stop - App host process (pid: N) did not exit in time although it was killed"}});
    ASSERT_EQ(GetChildren().size(), 1U);
    End(GetChildren().at(0));
}

TEST_F(AppHostLaunch, StopLeavesACleanStateForTheNextLaunch) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Launch("pause"));
        EXPECT_EQ(GetChildren().size(), 1U);
        sut_->Stop();
        EXPECT_TRUE(GetChildren().empty());
    }
}

TEST_F(AppHostLaunch, LeftOverAppHostIsKilledWithoutAskingTheApp) {
    shutDown_ = [] {
        ADD_FAILURE() << "the app was asked";
        return true;
    };
    GivenAppHost();

    sut_->KillLeftOver();

    ExpectLines(LinesOfAKill());
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostLaunch, WithoutALeftOverAppHostNothingIsLogged) {
    sut_->KillLeftOver();

    ExpectLines({});
}

TEST_F(AppHostLaunch, DestructorKillsTheAppHost) {
    GivenAppHost();

    sut_.reset();

    ExpectLines(LinesOfAKill());
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppHostLaunch, DestructorGivesUpAnAppHostThatCannotBeKilled) {
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), clock_, milliseconds(5));
    GivenAppHost();
    const int pid = GetChildren().at(0);
    SystemFaults::killsAreLost = true;

    sut_.reset();

    SystemFaults::killsAreLost = false;
    EXPECT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(AppHostLaunch, LaunchThatHasPassedTheFlagIsSeenByWhoeverClearsIt) {
    ExpectNothingOutlivesAStopAt("Launching app host", [this] { return Launch("pause"); });
}

TEST_F(AppHostLaunch, NothingRunsAfterTheFlagWasClearedAndTheLeftOverKilled) {
    for (int i = 0; i < 100; ++i) {
        ThreadControl control;
        boost::barrier start(2);
        boost::scoped_thread<> cycle([this, &control, &start] {
            start.wait();
            sut_->LaunchNativeApp(control, FirstDevice, TEST_CHILD, "pause", "MyApp");
        });
        start.wait();
        control.running = false;
        sut_->KillLeftOver();
        cycle.join();
        EXPECT_TRUE(GetChildren().empty());
    }
}

TEST_F(AppHostLaunch, ConcurrentStopsAndLaunchesSignalAndReapEachProcessOnce) {
    constexpr int Threads = 4;
    constexpr int Rounds = 50;
    const int strayCalls = SystemFaults::strayCalls;
    sut_ = std::make_unique<AppHostProcessControl>(log_.GetLogger(), std::make_shared<Zandrel::Clock>());
    sut_->SetShutDownFunction([] { return false; });
    {
        std::vector<boost::scoped_thread<>> threads;
        threads.reserve(Threads);
        for (int i = 0; i < Threads; ++i) {
            threads.emplace_back(boost::thread([this, i] {
                for (int round = 0; round < Rounds; ++round) {
                    if (i == 0) {
                        EXPECT_TRUE(Launch("pause"));
                    } else if (i == 1) {
                        sut_->KillLeftOver();
                    } else {
                        sut_->Stop();
                    }
                }
            }));
        }
    }
    sut_->KillLeftOver();

    EXPECT_EQ(SystemFaults::strayCalls, strayCalls);
    EXPECT_TRUE(GetChildren().empty());
    ExpectLaunchesAndEnds("native app", Rounds);
}

}  // namespace
