#include "Ostra/HandlerThread.h"

#include <gtest/gtest.h>

#include <boost/thread/future.hpp>
#include <memory>
#include <stdexcept>
#include <vector>

#include "CapturingAppender.h"

namespace {

struct Handler {
    std::vector<int> calls;
};
using HandlerThread = Ostra::HandlerThread<Handler>;

/// Lets the test hold a call in the middle.
class Gate {
public:
    void EnterAndWait() {
        entered_.set_value();
        opened_.get_future().wait();
    }
    void AwaitEntered() { entered_.get_future().wait(); }
    void Open() { opened_.set_value(); }

private:
    boost::promise<void> entered_;
    boost::promise<void> opened_;
};

void AwaitDelivered(HandlerThread& sut) {
    boost::promise<void> delivered;
    sut.Post([&delivered](Handler&) { delivered.set_value(); });
    delivered.get_future().wait();
}

TEST(HandlerThread, CallsInTheOrderOfPosting) {
    Handler handler;
    HandlerThread sut;
    sut.SetHandler(&handler);
    for (int i = 0; i < 100; ++i) {
        sut.Post([i](Handler& called) { called.calls.push_back(i); });
    }
    AwaitDelivered(sut);
    sut.SetHandler(nullptr);
    ASSERT_EQ(handler.calls.size(), 100U);
    EXPECT_TRUE(std::is_sorted(handler.calls.begin(), handler.calls.end()));
}

TEST(HandlerThread, DropsCallsWithoutHandler) {
    Handler handler;
    HandlerThread sut;
    sut.Post([](Handler& called) { called.calls.push_back(1); });
    sut.SetHandler(&handler);
    AwaitDelivered(sut);
    sut.SetHandler(nullptr);
    EXPECT_TRUE(handler.calls.empty());
}

TEST(HandlerThread, DroppingTheHandlerWaitsForTheRunningCall) {
    Handler handler;
    Gate gate;
    HandlerThread sut;
    sut.SetHandler(&handler);
    sut.Post([&gate](Handler& called) {
        gate.EnterAndWait();
        called.calls.push_back(1);
    });
    gate.AwaitEntered();
    boost::thread opener([&gate] { gate.Open(); });
    sut.SetHandler(nullptr);
    EXPECT_EQ(handler.calls, std::vector<int>{1});
    opener.join();
}

TEST(HandlerThread, ReplacingTheHandlerWaitsForTheRunningCall) {
    Handler first;
    Handler second;
    Gate gate;
    HandlerThread sut;
    sut.SetHandler(&first);
    sut.Post([&gate](Handler& called) {
        gate.EnterAndWait();
        called.calls.push_back(1);
    });
    gate.AwaitEntered();
    boost::thread opener([&gate] { gate.Open(); });
    sut.SetHandler(&second);
    EXPECT_EQ(first.calls, std::vector<int>{1});
    opener.join();
}

TEST(HandlerThread, DroppingTheHandlerClearsTheQueue) {
    Handler handler;
    Gate gate;
    boost::promise<void> dropped;
    HandlerThread sut;
    sut.SetHandler(&handler);
    sut.Post([&](Handler&) {
        gate.EnterAndWait();
        sut.SetHandler(nullptr);
        sut.SetHandler(&handler);
        dropped.set_value();
    });
    gate.AwaitEntered();
    sut.Post([](Handler& called) { called.calls.push_back(2); });
    gate.Open();
    dropped.get_future().wait();
    AwaitDelivered(sut);
    sut.SetHandler(nullptr);
    EXPECT_TRUE(handler.calls.empty());
}

TEST(HandlerThread, QueuedCallsGoToTheNewHandler) {
    Handler first;
    Handler second;
    Gate gate;
    HandlerThread sut;
    sut.SetHandler(&first);
    sut.Post([&](Handler& called) {
        gate.EnterAndWait();
        called.calls.push_back(1);
        sut.SetHandler(&second);
    });
    gate.AwaitEntered();
    sut.Post([](Handler& called) { called.calls.push_back(2); });
    gate.Open();
    AwaitDelivered(sut);
    sut.SetHandler(nullptr);
    EXPECT_EQ(first.calls, std::vector<int>{1});
    EXPECT_EQ(second.calls, std::vector<int>{2});
}

TEST(HandlerThread, HandlerMayDropItself) {
    Handler handler;
    HandlerThread sut;
    sut.SetHandler(&handler);
    boost::promise<void> dropped;
    sut.Post([&](Handler& called) {
        called.calls.push_back(1);
        sut.SetHandler(nullptr);
        dropped.set_value();
    });
    dropped.get_future().wait();
    sut.SetHandler(nullptr);
    EXPECT_EQ(handler.calls, std::vector<int>{1});
}

TEST(HandlerThread, DestructionWaitsForTheRunningCall) {
    Handler handler;
    Gate gate;
    auto sut = std::make_unique<HandlerThread>();
    sut->SetHandler(&handler);
    sut->Post([&gate](Handler& called) {
        gate.EnterAndWait();
        called.calls.push_back(1);
    });
    gate.AwaitEntered();
    boost::thread opener([&gate] { gate.Open(); });
    sut.reset();
    EXPECT_EQ(handler.calls, std::vector<int>{1});
    opener.join();
}

TEST(HandlerThread, DroppingTheHandlerIsNoInterruptionPoint) {
    Handler handler;
    Gate gate;
    HandlerThread sut;
    sut.SetHandler(&handler);
    sut.Post([&gate](Handler& called) {
        gate.EnterAndWait();
        called.calls.push_back(1);
    });
    gate.AwaitEntered();
    bool returned = false;
    boost::thread dropper([&] {
        sut.SetHandler(nullptr);
        returned = true;
    });
    dropper.interrupt();
    gate.Open();
    dropper.join();
    EXPECT_TRUE(returned);
    EXPECT_EQ(handler.calls, std::vector<int>{1});
}

TEST(HandlerThread, ThrowingCallEndsInOneLogLine) {
    TestSupport::GlobalLogCapture log;
    Handler handler;
    HandlerThread sut;
    sut.SetHandler(&handler);
    sut.Post([](Handler&) { throw std::runtime_error("broken"); });
    AwaitDelivered(sut);
    EXPECT_EQ(log.TakeLines(), (std::vector<TestSupport::LogLine>{{"ERROR", "A device-stack handler failed: broken"}}));
}

}  // namespace
