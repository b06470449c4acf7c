#include "AppHost.h"

#include <boost/thread/thread.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "AppHostFixture.h"

namespace {

using namespace AppHostTests;
using LocalDevice::AppHost;
using TestSupport::LogLine;
using Zandrel::ZANVALUE;
using Texts = std::vector<std::string>;
using LogLines = std::vector<LogLine>;

// Run states as they are written.
const std::string Stopped = "3.1:0";
const std::string Starting = "3.1:1";
const std::string Running = "3.1:2";
const std::string Stopping = "3.1:3";

class AppHostTest : public AppHostFixture {};

TEST_F(AppHostTest, reportsTheRunStatesOfAnApp) {
    Texts statesAtStart;
    Texts statesAtStop;
    stop = [&] { statesAtStop = GetRunStates(); };
    const int exitCode = Run([&] {
        statesAtStart = GetRunStates();
        Post([this] { ShutDown(); });
    });
    EXPECT_EQ(exitCode, AppHost::Success);
    EXPECT_EQ(statesAtStart, Texts{Starting});
    EXPECT_EQ(statesAtStop, (Texts{Starting, Running, Stopping}));
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopping, Stopped}));
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(log.GetLines(), (LogLines{{"INFO", "Asked to shut down"}}));
}

TEST_F(AppHostTest, sendsAHeartbeatAtOnceAfterRunning) {
    Run([&] { Post([this] { ShutDown(); }); });
    const auto writes = deviceStack.GetWrites();
    ASSERT_GE(writes.size(), 3U);
    EXPECT_EQ(writes[1].value, Running);
    EXPECT_EQ(writes[2].id, Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(LogicalDevice));
    EXPECT_EQ(GetHeartbeats().size(), 1U);
}

TEST_F(AppHostTest, staysInItsStartUntilTheAppCanWork) {
    Texts statesBefore;
    Run([&] {
        host->set_running(host, false);
        Post([&] {
            statesBefore = GetRunStates();
            EXPECT_TRUE(GetHeartbeats().empty());
            host->set_running(host, true);
            Post([this] { ShutDown(); });
        });
    });
    EXPECT_EQ(statesBefore, Texts{Starting});
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopping, Stopped}));
    EXPECT_EQ(GetHeartbeats().size(), 1U);
}

TEST_F(AppHostTest, appThatCannotWorkIsStoppedWithoutAHeartbeat) {
    UseHeartbeatPeriod(1);
    std::size_t heartbeats = 0;
    Run([&] {
        Post([&] { host->set_running(host, false); });
        StartTimer(20, false, [&] { heartbeats = GetHeartbeats().size(); });
        StartTimer(40, false, [&] {
            EXPECT_EQ(GetHeartbeats().size(), heartbeats);
            EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopped}));
            host->set_running(host, true);
            host->set_running(host, true);
            Post([this] { ShutDown(); });
        });
    });
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopped, Running, Stopping, Stopped}));
    EXPECT_GT(GetHeartbeats().size(), heartbeats);
}

TEST_F(AppHostTest, appThatFailsBeforeItCouldWorkIsStoppedWithTheHeartbeatThatTheWatchdogBeginsWith) {
    UseHeartbeatPeriod(1);
    Run([&] {
        host->set_running(host, false);
        Post([&] { host->set_running(host, false); });
        StartTimer(20, false, [&] {
            EXPECT_EQ(GetRunStates(), (Texts{Starting, Stopped}));
            EXPECT_EQ(GetHeartbeats().size(), 1U);
            ShutDown();
        });
    });
}

TEST_F(AppHostTest, appThatFailsAgainIsReportedAgain) {
    Run([&] {
        Post([&] { host->set_running(host, false); });
        // The device may have taken the next one for running meanwhile.
        Post([&] { host->set_running(host, false); });
        Post([&] { Post([this] { ShutDown(); }); });
    });
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopped, Stopped, Stopping, Stopped}));
    EXPECT_EQ(GetHeartbeats().size(), 1U);
}

TEST_F(AppHostTest, repeatsTheHeartbeatWhileTheAppLives) {
    UseHeartbeatPeriod(1);
    Run([&] {
        StartTimer(1, true, [this] {
            if (GetHeartbeats().size() >= 4) {
                ShutDown();
            }
        });
    });
    EXPECT_GE(GetHeartbeats().size(), 4U);
}

TEST_F(AppHostTest, sendsNoHeartbeatWhileTheAppHangs) {
    UseHeartbeatPeriod(1);
    std::size_t before = 0;
    std::size_t after = 0;
    Run([&] {
        Post([&] {
            before = GetHeartbeats().size();
            boost::this_thread::sleep_for(boost::chrono::milliseconds(20));  // many periods
            after = GetHeartbeats().size();
            ShutDown();
        });
    });
    EXPECT_EQ(before, 1U);
    EXPECT_EQ(after, 1U);
}

TEST_F(AppHostTest, appThatHangsElsewhereHasNoHeartbeatAndKeepsItsRunState) {
    UseHeartbeatPeriod(1);
    std::size_t before = 0;
    Run([&] {
        Post([&] { host->set_alive(host, false); });
        StartTimer(20, false, [&] { before = GetHeartbeats().size(); });
        StartTimer(40, false, [&] {
            EXPECT_EQ(GetHeartbeats().size(), before);
            EXPECT_EQ(GetRunStates(), (Texts{Starting, Running}));
            ShutDown();
        });
    });
}

TEST_F(AppHostTest, sendsAHeartbeatAtOnceWhenTheAppGoesOn) {
    Run([&] {
        host->set_alive(host, false);
        Post([&] {
            EXPECT_TRUE(GetHeartbeats().empty());
            host->set_alive(host, true);
            Post([this] { ShutDown(); });
        });
    });
    EXPECT_EQ(GetHeartbeats().size(), 1U);
}

TEST_F(AppHostTest, doesNotStopAnAppThatDidNotStart) {
    start = [] { return ORN_NO_VALUE; };
    EXPECT_EQ(Run(), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Stopped}));
    EXPECT_EQ(GetHeartbeats(), Texts{});
    EXPECT_EQ(stops, 0);
    EXPECT_EQ(log.GetLines(), (LogLines{{"ERROR", "The app did not start: it returned 3"}}));
}

TEST_F(AppHostTest, doesNotStopAnAppThatThrewAtItsStart) {
    start = []() -> orn_result { throw std::runtime_error("no lamp"); };
    EXPECT_EQ(Run(), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Stopped}));
    EXPECT_EQ(stops, 0);
    EXPECT_EQ(log.GetLines(), (LogLines{{"ERROR", "The app threw an exception: no lamp"}}));
}

TEST_F(AppHostTest, stopsAnAppThatThrowsInACallback) {
    EXPECT_EQ(Run([&] { Post([] { throw std::runtime_error("lamp broken"); }); }), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopping, Stopped}));
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(log.GetLines(), (LogLines{{"ERROR", "The app threw an exception: lamp broken"}}));
}

TEST_F(AppHostTest, stopsAnAppThatThrowsSomethingOfItsOwn) {
    EXPECT_EQ(Run([&] { StartTimer(0, false, [] { throw 42; }); }), AppHost::Failure);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(log.GetLines(), (LogLines{{"ERROR", "The app threw an exception of a type of its own"}}));
}

TEST_F(AppHostTest, reportsStoppedForAnAppThatThrowsAtItsEnd) {
    stop = [] { throw std::runtime_error("late"); };
    EXPECT_EQ(Run([&] { Post([this] { ShutDown(); }); }), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopping, Stopped}));
    EXPECT_EQ(log.GetLines().back(), (LogLine{"ERROR", "The app threw an exception: late"}));
}

TEST_F(AppHostTest, stopsAnAppThatGivesUp) {
    EXPECT_EQ(Run([&] { Post([this] { host->fail(host, "no sensor"); }); }), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Stopping, Stopped}));
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(appLog.GetLines(), (LogLines{{"ERROR", "no sensor"}}));
}

TEST_F(AppHostTest, takesNoAppForRunningThatGivesUpAtItsStart) {
    EXPECT_EQ(Run([&] { host->fail(host, "no sensor"); }), AppHost::Failure);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Stopping, Stopped}));
    EXPECT_EQ(GetHeartbeats(), Texts{});
    EXPECT_EQ(stops, 1);
}

TEST_F(AppHostTest, letsAnotherThreadOfTheAppGiveUp) {
    boost::thread other;
    stop = [&] { other.join(); };
    EXPECT_EQ(Run([&] { other = boost::thread([this] { host->fail(host, "thread failed"); }); }), AppHost::Failure);
    EXPECT_EQ(stops, 1);
}

TEST_F(AppHostTest, aFailureCountsOverARequestedStop) {
    EXPECT_EQ(Run([&] {
                  Post([this] {
                      ShutDown();
                      host->fail(host, "at the same time");
                      ShutDown();
                  });
              }),
              AppHost::Failure);
    EXPECT_EQ(stops, 1);
}

TEST_F(AppHostTest, doesNotStartAnAppThatIsToStopAlready) {
    bool started = false;
    sut->RequestStop(AppHost::Failure);
    EXPECT_EQ(Run([&] { started = true; }), AppHost::Failure);
    EXPECT_FALSE(started);
    EXPECT_EQ(deviceStack.GetWrites().size(), 0U);
}

TEST_F(AppHostTest, obeysAShutDownThatComesDuringTheStart) {
    EXPECT_EQ(Run([&] { ShutDown(); }), AppHost::Success);
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Stopping, Stopped}));
    EXPECT_EQ(stops, 1);
}

TEST_F(AppHostTest, tellsTheAppWhenCommunicationBeginsAndCeases) {
    std::string heard;
    sut->OnControlEvent(ZANVALUE::FromInteger(2));
    sut->OnControlEvent(ZANVALUE::FromInteger(3));
    sut->OnControlEvent(ZANVALUE::FromInteger(2));
    Run([&] {
        const auto handler = [](void* context, bool on) { *static_cast<std::string*>(context) += on ? '+' : '-'; };
        EXPECT_EQ(host->on_communication(host, handler, &heard), ORN_OK);
        Post([this] { ShutDown(); });
    });
    EXPECT_EQ(heard, "+-+");
}

TEST_F(AppHostTest, tellsNobodyOfCommunicationWithoutAHandler) {
    std::string heard;
    sut->OnControlEvent(ZANVALUE::FromInteger(2));
    Run([&] {
        const auto handler = [](void* context, bool) { *static_cast<std::string*>(context) += '+'; };
        host->on_communication(host, handler, &heard);
        EXPECT_EQ(host->on_communication(host, nullptr, nullptr), ORN_OK);
        Post([this] { ShutDown(); });
    });
    EXPECT_EQ(heard, "");
}

TEST_F(AppHostTest, ignoresControlEventsThatItDoesNotKnow) {
    for (const auto& value : {ZANVALUE::FromInteger(0), ZANVALUE::FromInteger(4), ZANVALUE::FromText("stop")}) {
        sut->OnControlEvent(value);
    }
    EXPECT_EQ(Run([&] { Post([this] { ShutDown(); }); }), AppHost::Success);
    EXPECT_EQ(log.GetLines(), (LogLines{{"WARN", "Unknown control event: 3.1:0"},
                                        {"WARN", "Unknown control event: 3.1:4"},
                                        {"WARN", "Unknown control event: 5.1:stop"},
                                        {"INFO", "Asked to shut down"}}));
}

TEST_F(AppHostTest, reportsItsRunStateAgainAfterAReconnect) {
    Run([&] {
        Post([this] {
            sut->OnReconnected();
            ShutDown();
        });
    });
    EXPECT_EQ(GetRunStates(), (Texts{Starting, Running, Running, Stopping, Stopped}));
}

TEST_F(AppHostTest, saysWhenItCannotReport) {
    deviceStack.SetConnected(false);
    EXPECT_EQ(Run([&] { ShutDown(); }), AppHost::Success);
    const LogLine lost{"WARN", "Could not report the run state: there is no connection to the device stack"};
    EXPECT_EQ(log.GetLines(), (LogLines{lost, {"INFO", "Asked to shut down"}, lost, lost}));
}

TEST_F(AppHostTest, canReportTheEndOnAnyThread) {
    boost::thread other([this] { sut->ReportStopped(); });
    other.join();
    EXPECT_EQ(GetRunStates(), Texts{Stopped});
}

}  // namespace
