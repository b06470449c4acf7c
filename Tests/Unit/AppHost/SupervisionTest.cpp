#include "Supervision.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <csignal>
#include <string>
#include <vector>

#include "CapturingAppender.h"

namespace {

using LocalDevice::Supervision;
using Milliseconds = Supervision::Milliseconds;
using TestSupport::LogLine;
using Texts = std::vector<std::string>;

constexpr pid_t Parent = 4711;

class SupervisionTest : public testing::Test {
protected:
    void Note(const std::string& what, int exitCode) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        calls_.push_back(what + " " + std::to_string(exitCode));
        changed_.notify_all();
    }

    Supervision::Actions MakeActions() {
        return {[this] { return parent.load(); }, [this](int exitCode) { Note("stop", exitCode); },
                [this](int exitCode) { Note("end", exitCode); }};
    }

    /// The first `count` calls; waits for them.
    Texts WaitForCalls(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(20), [&] { return calls_.size() >= count; });
        return calls_;
    }

    static constexpr Supervision::Durations Fast{Milliseconds(1), Milliseconds(1), Milliseconds(1)};
    static constexpr Supervision::Durations Patient{Milliseconds(1), Milliseconds(60000), Milliseconds(60000)};

    std::atomic<pid_t> parent{Parent};
    TestSupport::LogCapture log;

private:
    boost::mutex mutex_;
    boost::condition_variable changed_;
    Texts calls_;
};

TEST_F(SupervisionTest, stopsTheAppWhenTheParentIsGone) {
    const Supervision sut(Parent, MakeActions(), log.GetLogger(), Patient);
    EXPECT_EQ(WaitForCalls(0), Texts{});
    parent = 1;
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 1"});
    EXPECT_EQ(log.GetLines(), (std::vector<LogLine>{{"ERROR", "The parent process is gone: the app is ended"}}));
}

TEST_F(SupervisionTest, noticesAParentThatWentBeforeItWatched) {
    parent = 1;
    const Supervision sut(Parent, MakeActions(), log.GetLogger(), Patient);
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 1"});
}

TEST_F(SupervisionTest, endsTheProcessOfAnAppThatDoesNotStop) {
    parent = 1;
    const Supervision sut(Parent, MakeActions(), log.GetLogger(), Fast);
    EXPECT_EQ(WaitForCalls(2), (Texts{"stop 1", "end 1"}));
    EXPECT_EQ(log.GetLines().back(), (LogLine{"FATAL", "The app does not stop: the process is ended"}));
}

TEST_F(SupervisionTest, stopsTheAppWhenTheDeviceStackStaysGone) {
    Supervision sut(Parent, MakeActions(), log.GetLogger(), {Milliseconds(1), Milliseconds(1), Milliseconds(60000)});
    sut.OnConnectionChanged(false);
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 1"});
    EXPECT_EQ(log.GetLines(), (std::vector<LogLine>{{"ERROR", "The device stack is gone: the app is ended"}}));
}

TEST_F(SupervisionTest, forgivesADeviceStackThatComesBack) {
    {
        Supervision sut(Parent, MakeActions(), log.GetLogger(),
                        {Milliseconds(1), Milliseconds(60000), Milliseconds(60000)});
        sut.OnConnectionChanged(false);
        sut.OnConnectionChanged(true);
    }
    EXPECT_EQ(WaitForCalls(0), Texts{});
}

TEST_F(SupervisionTest, countsTheTimeFromTheLastLoss) {
    constexpr Milliseconds Gone(100);
    Supervision sut(Parent, MakeActions(), log.GetLogger(), {Milliseconds(1000), Gone, Milliseconds(60000)});
    sut.OnConnectionChanged(false);
    sut.OnConnectionChanged(true);
    const auto lost = std::chrono::steady_clock::now();
    sut.OnConnectionChanged(false);
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 1"});
    EXPECT_GE(std::chrono::steady_clock::now() - lost, Gone);
}

TEST_F(SupervisionTest, asksOnceForWhicheverReasons) {
    parent = 1;
    Supervision sut(Parent, MakeActions(), log.GetLogger(), {Milliseconds(1), Milliseconds(1), Milliseconds(20)});
    sut.OnConnectionChanged(false);
    EXPECT_EQ(WaitForCalls(2), (Texts{"stop 1", "end 1"}));
}

class SupervisionOfSignals : public SupervisionTest, public testing::WithParamInterface<int> {};

TEST_P(SupervisionOfSignals, stopsTheAppOnTheFirstAndEndsTheProcessOnTheSecond) {
    const Supervision sut(Parent, MakeActions(), log.GetLogger(), Patient);
    kill(getpid(), GetParam());
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 0"});
    kill(getpid(), GetParam());
    EXPECT_EQ(WaitForCalls(2), (Texts{"stop 0", "end " + std::to_string(128 + GetParam())}));
    EXPECT_EQ(log.GetLines(), (std::vector<LogLine>{{"INFO", "Asked to end by signal " + std::to_string(GetParam())}}));
}

INSTANTIATE_TEST_SUITE_P(All, SupervisionOfSignals, testing::Values(SIGINT, SIGTERM));

TEST_F(SupervisionTest, getsSignalsThatTheParentBlocked) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const Supervision sut(Parent, MakeActions(), log.GetLogger(), Patient);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(WaitForCalls(1), Texts{"stop 0"});
}

}  // namespace
