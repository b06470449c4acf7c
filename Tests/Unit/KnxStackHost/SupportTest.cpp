#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <vector>

#include "Output/HostEvents.h"
#include "Support/StopSignal.h"
#include "Support/UserSlot.h"
#include "Support/WorkQueue.h"

namespace LocalDevice {
namespace {

TEST(UserSlotTest, WithoutUserThereIsNoCall) {
    UserSlot<int> sut;
    EXPECT_FALSE(sut.IsSet());
    EXPECT_EQ(sut.Call([](int& user) { return user; }), std::nullopt);
    EXPECT_FALSE(sut.Notify([](int&) { FAIL(); }));
}

TEST(UserSlotTest, OnlyTheRegisteredUserIsTakenOff) {
    UserSlot<int> sut;
    int first = 1;
    int second = 2;
    sut.Set(first);
    EXPECT_FALSE(sut.Clear(second));
    sut.Set(second);
    EXPECT_FALSE(sut.Clear(first));
    EXPECT_EQ(sut.Call([](int& user) { return user; }), 2);
    EXPECT_TRUE(sut.Clear(second));
    EXPECT_FALSE(sut.IsSet());
}

TEST(UserSlotTest, ACallMayCallAgain) {
    UserSlot<int> sut;
    int value = 1;
    sut.Set(value);
    EXPECT_EQ(sut.Call([&sut](int& user) { return user + *sut.Call([](int& again) { return again; }); }), 2);
}

TEST(UserSlotTest, AnExceptionEndsTheCall) {
    UserSlot<int> sut;
    int user = 1;
    sut.Set(user);
    EXPECT_THROW(sut.Call([](int&) -> int { throw std::runtime_error("broken"); }), std::runtime_error);
    EXPECT_TRUE(sut.Clear(user));
}

TEST(UserSlotTest, NoCallRunsOnceTheUserIsTakenOff) {
    for (int round = 0; round < 200; ++round) {
        UserSlot<std::atomic<bool>> sut;
        std::atomic<bool> isAlive{true};
        sut.Set(isAlive);
        boost::thread caller([&sut] {
            while (sut.Notify([](std::atomic<bool>& user) { EXPECT_TRUE(user); })) {
            }
        });
        sut.Clear(isAlive);
        isAlive = false;
        caller.join();
    }
}

TEST(WorkQueueTest, TasksRunInOrderOnOneThread) {
    std::vector<int> order;
    boost::promise<void> done;
    WorkQueue sut(1000);
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(sut.Post([&order, i] { order.push_back(i); }));
    }
    sut.Post([&done] { done.set_value(); });
    done.get_future().wait();
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(WorkQueueTest, TooManyTasksAreRefused) {
    boost::promise<void> entered;
    boost::promise<void> release;
    boost::promise<void> done;
    WorkQueue sut(2);
    sut.Post([&] {
        entered.set_value();
        release.get_future().wait();
    });
    entered.get_future().wait();
    EXPECT_TRUE(sut.Post([] {}));
    EXPECT_TRUE(sut.Post([&done] { done.set_value(); }));
    EXPECT_FALSE(sut.Post([] { FAIL(); }));
    release.set_value();
    done.get_future().wait();
    EXPECT_TRUE(sut.Post([] {}));
}

TEST(StopSignalTest, SleepsUntilStopped) {
    StopSignal sut;
    EXPECT_TRUE(sut.Sleep(std::chrono::milliseconds(1)));
    EXPECT_FALSE(sut.IsStopped());
    boost::thread stopper([&sut] { sut.Stop(); });
    EXPECT_FALSE(sut.Sleep(std::chrono::minutes(10)));
    sut.Wait();
    EXPECT_TRUE(sut.IsStopped());
    EXPECT_FALSE(sut.Sleep(std::chrono::minutes(10)));
    stopper.join();
}

TEST(HostEventsTest, EachSubscriberHearsEachEvent) {
    HostEvents sut;
    int first = 0;
    int second = 0;
    const auto one = sut.Subscribe([&first](const HostEvent&) { ++first; });
    {
        const auto two = sut.Subscribe([&second](const HostEvent&) { ++second; });
        sut.Publish(MessageEvent{});
    }
    sut.Publish(MessageEvent{});
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 1);
}

}  // namespace
}  // namespace LocalDevice
