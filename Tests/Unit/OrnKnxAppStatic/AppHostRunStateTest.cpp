#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/thread_only.hpp>
#include <memory>

#include "AppSideTools.h"
#include "SimulatedClock.h"

namespace {

using AppSideTools::AppHostControlState;
using AppSideTools::HookedClock;
using AppSideTools::Report;
using boost::chrono::milliseconds;
using boost::chrono::seconds;
using Zandrel::AppHostProcessControl;
using Zandrel::ZANVALUE;

class AppHostRunState : public testing::Test {
protected:
    bool WaitForRunning(seconds timeout) {
        return sut_.WaitForRunState(AppHostControlState::Running, timeout, keepRunning_);
    }

    TestSupport::GlobalLogCapture log_;
    std::shared_ptr<HookedClock> clock_ = std::make_shared<HookedClock>();
    std::atomic<bool> keepRunning_{true};
    AppHostProcessControl sut_{log_.GetLogger(), clock_};
};

TEST_F(AppHostRunState, IsUnknownUntilItIsReported) {
    EXPECT_FALSE(sut_.GetRunState());
    Report(sut_, AppHostControlState::Starting);
    EXPECT_EQ(sut_.GetRunState(), AppHostControlState::Starting);
    Report(sut_, AppHostControlState::Stopped);
    EXPECT_EQ(sut_.GetRunState(), AppHostControlState::Stopped);
}

TEST_F(AppHostRunState, ReportThatIsNoIntegerIsIgnored) {
    sut_.OnRunStateValue(ZANVALUE::FromText("Running"));
    EXPECT_FALSE(sut_.GetRunState());

    Report(sut_, AppHostControlState::Running);
    sut_.OnRunStateValue(ZANVALUE());
    sut_.OnRunStateValue(ZANVALUE::FromFloat(0.5));
    EXPECT_EQ(sut_.GetRunState(), AppHostControlState::Running);
}

TEST_F(AppHostRunState, UnknownNumberIsKept) {
    sut_.OnRunStateValue(ZANVALUE::FromInteger(7));
    EXPECT_EQ(sut_.GetRunState(), AppHostControlState{7});
}

TEST_F(AppHostRunState, StateThatIsThereAlreadyIsNotWaitedFor) {
    Report(sut_, AppHostControlState::Running);

    EXPECT_TRUE(WaitForRunning(seconds(90)));
    EXPECT_TRUE(clock_->sleeps.empty());
}

TEST_F(AppHostRunState, StateIsLookedAtEveryFiftyMilliseconds) {
    clock_->onSleep = [this] {
        if (clock_->sleeps.size() == 3) {
            Report(sut_, AppHostControlState::Running);
        }
    };

    EXPECT_TRUE(WaitForRunning(seconds(90)));
    EXPECT_EQ(clock_->sleeps, (std::vector<HookedClock::Duration>(3, milliseconds(50))));
}

TEST_F(AppHostRunState, WaitEndsAtTheTimeout) {
    Report(sut_, AppHostControlState::Starting);

    EXPECT_FALSE(WaitForRunning(seconds(90)));
    EXPECT_EQ(clock_->now, HookedClock::TimePoint(seconds(90)));
}

TEST_F(AppHostRunState, WaitEndsOnePollAfterTheFlagIsCleared) {
    clock_->onSleep = [this] { keepRunning_ = false; };

    EXPECT_FALSE(WaitForRunning(seconds(90)));
    EXPECT_EQ(clock_->sleeps.size(), 1U);
}

TEST_F(AppHostRunState, ClearedFlagGivesTheStateAsItIs) {
    keepRunning_ = false;

    EXPECT_FALSE(WaitForRunning(seconds(90)));
    Report(sut_, AppHostControlState::Running);
    EXPECT_TRUE(WaitForRunning(seconds(90)));
    EXPECT_TRUE(clock_->sleeps.empty());
}

TEST_F(AppHostRunState, StateReachedAfterTheLastLookCounts) {
    clock_->onNow = [this] {
        if (clock_->now >= HookedClock::TimePoint(seconds(90))) {
            Report(sut_, AppHostControlState::Running);
        }
    };

    EXPECT_TRUE(WaitForRunning(seconds(90)));
    EXPECT_EQ(clock_->now, HookedClock::TimePoint(seconds(90)));
}

TEST(AppHostRunStateWait, EndsWhenItsThreadIsInterrupted) {
    TestSupport::GlobalLogCapture log;
    const AppHostProcessControl sut(log.GetLogger(), std::make_shared<Zandrel::Clock>());
    const std::atomic<bool> keepRunning{true};
    std::atomic<bool> interrupted{false};
    boost::thread thread([&sut, &keepRunning, &interrupted] {
        try {
            sut.WaitForRunState(AppHostControlState::Running, seconds(3600), keepRunning);
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
    });
    thread.interrupt();
    thread.join();
    EXPECT_TRUE(interrupted);
}

}  // namespace
