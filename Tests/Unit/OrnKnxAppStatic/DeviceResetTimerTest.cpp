#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/io_service.hpp>
#include <functional>
#include <memory>
#include <stdexcept>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DeviceResetTimerImplementation.h"
#include "IoState.h"

namespace {

/// A steady clock that a test moves.
struct ManualClock {
    using duration = boost::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = boost::chrono::time_point<ManualClock>;
    static constexpr bool is_steady = true;

    static time_point now() { return time_point(duration(nanoseconds)); }
    static void Advance(duration by) { nanoseconds += by.count(); }

    static std::atomic<rep> nanoseconds;
};
std::atomic<ManualClock::rep> ManualClock::nanoseconds{1};

}  // namespace

namespace Zandrel {
template class BasicDeviceResetTimer<ManualClock>;
}

namespace {

using boost::chrono::seconds;
using TestSupport::LogCapture;
using TestSupport::LogLine;

class DeviceResetTimer : public testing::Test {
protected:
    DeviceResetTimer() { sut_.Open(); }

    void Advance(seconds by) {
        ManualClock::Advance(by);
        RunDueWaits([] {});
    }

    /// Runs `first`, then the handlers of every wait that is due. A wait that is due earlier than all others makes the
    /// event loop look at the clock, which it does not see moving.
    void RunDueWaits(const std::function<void()>& first) {
        bool ran = false;
        boost::asio::basic_waitable_timer<ManualClock> earliest(service_, ManualClock::time_point());
        earliest.async_wait([&first, &ran](const boost::system::error_code&) {
            first();
            ran = true;
        });
        service_.restart();
        while (!ran) {
            service_.run_one();
        }
        service_.poll();
    }

    LogCapture capture_;
    int restarts_ = 0;
    bool debugMode_ = false;
    boost::asio::io_service service_;
    Zandrel::BasicDeviceResetTimer<ManualClock> sut_{
        service_,
        Zandrel::PrefixedLogger(capture_.GetLogger(), std::make_shared<Zandrel::AppIdentity>()),
        {[this] { return debugMode_; }, [this] { ++restarts_; }}};
};

const LogLine TimerStarted{"DEBUG", "StartDeviceResetTimer - DeviceResetTimer started."};
const LogLine TimerStopped{"DEBUG", "OnExpiry - DeviceResetTimer stopped."};

TEST_F(DeviceResetTimer, AsksForARestartAfterSixtySecondsOfSilence) {
    sut_.StartDeviceResetTimer();
    Advance(seconds(59));
    EXPECT_EQ(restarts_, 0);
    Advance(seconds(1));
    EXPECT_EQ(restarts_, 1);

    const auto lines = capture_.GetLines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], TimerStarted);
    EXPECT_EQ(lines[1].level, "FATAL");
    EXPECT_EQ(lines[1].text.rfind("OnExpiry - DeviceResetTimer expired (60 seconds)... resetting device! [", 0), 0U);
    EXPECT_EQ(lines[2], TimerStarted);
}

TEST_F(DeviceResetTimer, GoesOnWithAPeriodOfSixtySeconds) {
    sut_.StartDeviceResetTimer();
    for (int period = 1; period <= 5; ++period) {
        Advance(seconds(60));
        EXPECT_EQ(restarts_, period);
    }
}

TEST_F(DeviceResetTimer, HeartbeatsEveryThirtySecondsKeepTheDeviceAlive) {
    sut_.StartDeviceResetTimer();
    for (int heartbeat = 0; heartbeat < 1000; ++heartbeat) {
        Advance(seconds(30));
        capture_.TakeLines();
        sut_.StartDeviceResetTimer();
        Advance(seconds(0));
        EXPECT_EQ(capture_.TakeLines(), (std::vector<LogLine>{TimerStarted, TimerStopped}));
    }
    EXPECT_EQ(restarts_, 0);
}

TEST_F(DeviceResetTimer, DebugModeSuppressesTheRestartAndReArms) {
    debugMode_ = true;
    sut_.StartDeviceResetTimer();
    Advance(seconds(60));
    EXPECT_EQ(restarts_, 0);
    EXPECT_EQ(capture_.GetLines(),
              (std::vector<LogLine>{TimerStarted,
                                    {"INFO", "OnExpiry - IPC restart suppressed: AppHost debugging mode active!"},
                                    TimerStarted}));

    debugMode_ = false;
    Advance(seconds(60));
    EXPECT_EQ(restarts_, 1);
}

TEST_F(DeviceResetTimer, NoRestartIsAskedForOnceItIsClosed) {
    sut_.StartDeviceResetTimer();
    sut_.Close();
    Advance(seconds(120));
    EXPECT_EQ(restarts_, 0);
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{TimerStarted, TimerStopped}));
}

TEST_F(DeviceResetTimer, ALateHeartbeatCannotArmItWhileItIsClosed) {
    sut_.Close();
    sut_.StartDeviceResetTimer();
    Advance(seconds(120));
    EXPECT_EQ(restarts_, 0);
    EXPECT_TRUE(capture_.GetLines().empty());

    sut_.Open();
    sut_.StartDeviceResetTimer();
    Advance(seconds(60));
    EXPECT_EQ(restarts_, 1);
}

TEST_F(DeviceResetTimer, AnExpiryThatWasCancelledOnItsWayCountsAsStopped) {
    sut_.StartDeviceResetTimer();
    ManualClock::Advance(seconds(60));
    // Both waits have succeeded; the handler of the first cancels the second, whose handler is queued already.
    RunDueWaits([this] { sut_.Close(); });
    EXPECT_EQ(restarts_, 0);
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{TimerStarted, TimerStopped}));
}

TEST_F(DeviceResetTimer, AnExpiryThatAHeartbeatOvertookCountsAsStopped) {
    sut_.StartDeviceResetTimer();
    ManualClock::Advance(seconds(60));
    RunDueWaits([this] { sut_.StartDeviceResetTimer(); });
    EXPECT_EQ(restarts_, 0);
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{TimerStarted, TimerStarted, TimerStopped}));
}

TEST_F(DeviceResetTimer, ACycleThatWasToldToStopDoesNotArmIt) {
    Zandrel::ThreadControl control;
    control.running = false;
    sut_.StartDeviceResetTimer(control);
    EXPECT_TRUE(capture_.GetLines().empty());

    control.running = true;
    sut_.StartDeviceResetTimer(control);
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{TimerStarted}));
}

TEST(IoState, StopReturnsOnceEveryHandlerHasRun) {
    Zandrel::IoState sut;
    sut.Start();
    std::atomic<int> runs{0};
    for (int i = 0; i < 100; ++i) {
        sut.GetService().post([&runs] { ++runs; });
    }
    sut.Stop();
    EXPECT_EQ(runs, 100);
}

TEST(IoState, HandlerThatThrowsDoesNotEndTheLoop) {
    TestSupport::GlobalLogCapture capture;
    Zandrel::IoState sut;
    sut.Start();
    std::atomic<bool> ran{false};
    sut.GetService().post([] { throw std::runtime_error("broken"); });
    sut.GetService().post([&ran] { ran = true; });
    sut.Stop();
    EXPECT_TRUE(ran);
    ASSERT_EQ(capture.GetLines().size(), 1U);
    EXPECT_EQ(capture.GetLines()[0], (LogLine{"ERROR", "Start - Unexpected failure: broken"}));
}

}  // namespace
