#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/wait_traits.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread_only.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <utility>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DeviceResetTimerImplementation.h"
#include "IoState.h"
#include "Orn/ThreadControl.h"
#include "RepeatCount.h"

namespace {

#if defined(ORN_EMULATED)  // to start a thread takes an emulator milliseconds
constexpr unsigned long RacesOfATestRun = 2'000;
#else
constexpr unsigned long RacesOfATestRun = 20'000;
#endif

/// A steady clock on which a minute lasts 60 microseconds.
struct HastyClock {
    using duration = boost::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = boost::chrono::time_point<HastyClock>;
    static constexpr bool is_steady = true;
    static constexpr rep Speed = 1'000'000;

    static time_point now() {
        static const auto start = boost::chrono::steady_clock::now();
        return time_point((boost::chrono::steady_clock::now() - start) * Speed);
    }
};

}  // namespace

template <>
struct boost::asio::wait_traits<HastyClock> {
    static HastyClock::duration to_wait_duration(const HastyClock::duration& duration) {
        return duration / HastyClock::Speed;
    }
    static HastyClock::duration to_wait_duration(const HastyClock::time_point& time) {
        return to_wait_duration(time.time_since_epoch());
    }
};

namespace Zandrel {
template class BasicDeviceResetTimer<HastyClock>;
}

namespace {

using boost::chrono::seconds;

using Timer = Zandrel::BasicDeviceResetTimer<HastyClock>;

/// Lets up to two minutes pass, so that what follows meets every moment of an expiry.
class RandomPause {
public:
    void operator()() {
        const auto end = HastyClock::now() + HastyClock::duration(length_(random_));
        while (HastyClock::now() < end) {
        }
    }

private:
    std::mt19937 random_{1};
    std::uniform_int_distribution<HastyClock::rep> length_{0, HastyClock::duration(seconds(120)).count()};
};

/// Beats at random intervals on a thread of its own.
class Heart {
public:
    explicit Heart(std::function<void()> beat)
        : thread_([this, beat = std::move(beat)] {
              RandomPause pause;
              while (beating_) {
                  beat();
                  pause();
              }
          }) {}
    ~Heart() {
        beating_ = false;
        thread_.join();
    }
    Heart(const Heart&) = delete;
    Heart& operator=(const Heart&) = delete;

private:
    std::atomic<bool> beating_{true};
    boost::thread thread_;
};

/// The timer with its event loop on a thread of its own, and a log that is off: its lines would take longer than a
/// minute. ORN_TEST_RACES is the number of races in each test.
class DeviceResetTimerRace : public testing::Test {
protected:
    DeviceResetTimerRace() {
        capture_.GetLogger().setLogLevel(log4cplus::OFF_LOG_LEVEL);
        io_.Start();
    }
    ~DeviceResetTimerRace() override {
        sut_.Close();
        io_.Stop();
    }

    const unsigned long races_ = TestSupport::GetRepeatCount("ORN_TEST_RACES", RacesOfATestRun);
    std::atomic<unsigned long> restarts_{0};
    std::atomic<unsigned long> wrongRestarts_{0};
    std::atomic<bool> mayRestart_{true};
    std::atomic<HastyClock::time_point> earliestRestart_{HastyClock::time_point()};

    RandomPause passRandomTime_;
    TestSupport::LogCapture capture_{"DeviceResetTimerRace"};
    Zandrel::IoState io_;
    Timer sut_{io_.GetService(),
               Zandrel::PrefixedLogger(capture_.GetLogger(), std::make_shared<Zandrel::AppIdentity>()),
               {[] { return false; },
                [this] {
                    ++restarts_;
                    if (!mayRestart_ || HastyClock::now() < earliestRestart_.load()) {
                        ++wrongRestarts_;
                    }
                }}};
};

TEST_F(DeviceResetTimerRace, NoRestartFollowsACancelThatMeetsTheExpiry) {
    unsigned long silent = 0;
    for (unsigned long race = 0; race < races_; ++race) {
        const unsigned long before = restarts_;
        mayRestart_ = true;
        sut_.Open();
        sut_.StartDeviceResetTimer();
        passRandomTime_();
        sut_.Close();
        mayRestart_ = false;
        silent += restarts_ == before ? 1 : 0;
        passRandomTime_();
    }
    EXPECT_EQ(wrongRestarts_, 0U);
    EXPECT_GT(silent, 0U) << "no cancel came before an expiry";
    EXPECT_LT(silent, races_) << "no cancel came after an expiry";
}

TEST_F(DeviceResetTimerRace, NoRestartComesEarlierThanAMinuteAfterTheHeartbeatThatMeetsTheExpiry) {
    sut_.Open();
    for (unsigned long race = 0; race < races_; ++race) {
        const auto heartbeat = HastyClock::now();
        sut_.StartDeviceResetTimer();
        earliestRestart_ = heartbeat + seconds(60);
        passRandomTime_();
    }
    EXPECT_EQ(wrongRestarts_, 0U);
    EXPECT_GT(restarts_, 0U) << "the heartbeats left no room for an expiry";
}

TEST_F(DeviceResetTimerRace, NoRestartComesWhileTheGateIsClosedToHeartbeats) {
    const Heart heart([this] { sut_.StartDeviceResetTimer(); });
    for (unsigned long race = 0; race < races_; ++race) {
        mayRestart_ = true;
        sut_.Open();
        passRandomTime_();
        sut_.Close();
        mayRestart_ = false;
        passRandomTime_();
    }
    EXPECT_EQ(wrongRestarts_, 0U);
    EXPECT_GT(restarts_, 0U) << "the heartbeats left no room for an expiry";
}

TEST_F(DeviceResetTimerRace, CycleThatWasStoppedCannotArmTheTimerOfTheNext) {
    std::deque<Zandrel::ThreadControl> cycles(1);
    std::atomic<Zandrel::ThreadControl*> current{&cycles.front()};
    {
        const Heart lastSteps([this, &current] { sut_.StartDeviceResetTimer(*current.load()); });
        for (unsigned long race = 0; race < races_; ++race) {
            mayRestart_ = true;
            sut_.Open();
            current = &cycles.emplace_back();
            passRandomTime_();
            sut_.Close();
            cycles.back().running = false;
            mayRestart_ = false;
            sut_.Open();
            passRandomTime_();
        }
    }
    EXPECT_EQ(wrongRestarts_, 0U);
    EXPECT_GT(restarts_, 0U) << "the cycles left no room for an expiry";
}

TEST_F(DeviceResetTimerRace, ExitEndsTheEventLoopWhateverHeartbeatsCome) {
    const Heart heart([this] { sut_.StartDeviceResetTimer(); });
    for (unsigned long exits = 0; exits < races_; ++exits) {
        mayRestart_ = true;
        sut_.Open();
        passRandomTime_();
        sut_.Close();
        mayRestart_ = false;
        io_.Stop();
        io_.GetService().restart();
        io_.Start();
    }
    EXPECT_EQ(wrongRestarts_, 0U);
}

}  // namespace
