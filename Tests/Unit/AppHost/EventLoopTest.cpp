#include "EventLoop.h"

#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using LocalDevice::EventLoop;
using Milliseconds = EventLoop::Milliseconds;

TEST(EventLoop, callsPostedTasksInOrder) {
    EventLoop sut;
    std::string calls;
    sut.Post([&] { calls += 'a'; });
    sut.Post([&] {
        calls += 'b';
        sut.Post([&] { calls += 'd'; });
        sut.Post([&] { sut.Quit(); });
    });
    sut.Post([&] { calls += 'c'; });
    sut.Run();
    EXPECT_EQ(calls, "abcd");
}

TEST(EventLoop, callsNothingThatIsPostedAfterQuit) {
    EventLoop sut;
    bool called = false;
    sut.Quit();
    sut.Post([&] { called = true; });
    sut.Run();
    EXPECT_FALSE(called);
}

TEST(EventLoop, takesTasksFromOtherThreads) {
    EventLoop sut;
    boost::thread::id caller;
    boost::thread other([&] {
        sut.Post([&] { caller = boost::this_thread::get_id(); });
        sut.Quit();
    });
    sut.Run();
    other.join();
    EXPECT_EQ(caller, boost::this_thread::get_id());
}

TEST(EventLoop, callsAOneShotTimerOnce) {
    EventLoop sut;
    int calls = 0;
    sut.StartTimer(Milliseconds(0), false, [&] { ++calls; });
    sut.StartTimer(Milliseconds(5), false, [&] { sut.Quit(); });
    sut.Run();
    EXPECT_EQ(calls, 1);
}

/// The order in which three timers are called; none where the starts took so long that it is another one by right.
std::optional<std::string> CallThreeTimers() {
    EventLoop sut;
    std::string calls;
    const auto call = [&](char name) {
        calls += name;
        if (calls.size() == 3) {
            sut.Quit();
        }
    };
    const auto begin = std::chrono::steady_clock::now();
    sut.StartTimer(Milliseconds(30), false, [&] { call('c'); });
    sut.StartTimer(Milliseconds(10), false, [&] { call('a'); });
    sut.StartTimer(Milliseconds(20), false, [&] { call('b'); });
    const bool isTimely = std::chrono::steady_clock::now() - begin < Milliseconds(10);
    sut.Run();
    return isTimely ? std::make_optional(calls) : std::nullopt;
}

TEST(EventLoop, callsTimersInTheOrderOfTheirTimes) {
    std::optional<std::string> calls;
    while (!calls) {
        calls = CallThreeTimers();
    }
    EXPECT_EQ(calls, "abc");
}

TEST(EventLoop, callsAPeriodicTimerUntilItIsStopped) {
    EventLoop sut;
    int calls = 0;
    EventLoop::TimerId timer = 0;
    timer = sut.StartTimer(Milliseconds(1), true, [&] {
        if (++calls == 3) {
            sut.StopTimer(timer);
            sut.StartTimer(Milliseconds(5), false, [&] { sut.Quit(); });
        }
    });
    sut.Run();
    EXPECT_EQ(calls, 3);
}

TEST(EventLoop, leavesOutThePeriodsThatItWasTooBusyFor) {
    EventLoop::TimePoint now;
    EventLoop sut([&now] { return now; });
    int calls = 0;
    sut.StartTimer(Milliseconds(1), true, [&] { ++calls; });
    sut.Post([&] {
        now += Milliseconds(20);
        sut.Post([&] { sut.Post([&] { sut.Quit(); }); });
    });
    sut.Run();
    EXPECT_EQ(calls, 1) << "of 20 periods";
}

TEST(EventLoop, doesNotCallAStoppedTimer) {
    EventLoop sut;
    bool called = false;
    const auto timer = sut.StartTimer(Milliseconds(0), false, [&] { called = true; });
    sut.Post([&] {
        sut.StopTimer(timer);  // which is due already
        sut.StartTimer(Milliseconds(2), false, [&] { sut.Quit(); });
    });
    sut.Run();
    EXPECT_FALSE(called);
}

TEST(EventLoop, ignoresTimersThatAreNoMore) {
    EventLoop sut;
    EventLoop::TimerId timer = 0;
    timer = sut.StartTimer(Milliseconds(0), false, [&] {
        sut.StopTimer(timer);
        sut.StopTimer(timer + 1);
        sut.Quit();
    });
    sut.Run();
}

TEST(EventLoop, goesOnAfterATaskThatThrew) {
    EventLoop sut;
    bool called = false;
    sut.Post([] { throw std::runtime_error("no"); });
    sut.Post([&] { called = true; });
    sut.Quit();
    EXPECT_THROW(sut.Run(), std::runtime_error);
    EXPECT_FALSE(called);
    sut.Run();
    EXPECT_TRUE(called);
}

TEST(EventLoop, acceptsTheLongestTimerOfAnApp) {
    EventLoop sut;
    sut.StartTimer(Milliseconds(4294967295000), false, [] { FAIL(); });
    sut.StartTimer(Milliseconds(2), false, [&] { sut.Quit(); });
    sut.Run();
}

}  // namespace
