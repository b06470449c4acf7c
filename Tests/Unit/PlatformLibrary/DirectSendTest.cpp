#include <gtest/gtest.h>

#include <boost/thread/future.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ClientPointer.h"
#include "FakeDeviceStack.h"
#include "Ostra/IDeviceStackClient.h"
#include "RecordingHandlers.h"

namespace {

using TestSupport::FakeDeviceStack;

using Manner = FakeDeviceStack::Manner;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr const char* Event = R"({"event":"configurationChanged","id":12})";

/// More than the socket buffers of both ends take.
constexpr std::size_t Mebibyte = std::size_t{1} << 20U;
constexpr int TooMany = 24;

std::string MakeLong(int number) {
    return std::to_string(number) + std::string(Mebibyte, 'x');
}

/// A client whose device stack does not read until it is told to.
class DirectSend : public testing::Test {
protected:
    DirectSend() { sut->SetEventHandler(&events); }

    void SendTooMany() const {
        for (int i = 0; i < TooMany; ++i) {
            EXPECT_TRUE(sut->Send(MakeLong(i)));
        }
    }
    void ExpectTooMany() {
        for (int i = 0; i < TooMany; ++i) {
            EXPECT_TRUE(stack.NextFrame() == MakeLong(i)) << i;
        }
    }

    TestSupport::GlobalLogCapture log;
    FakeDeviceStack stack{Manner::NeverReads};
    RecordingEventHandler events;
    ClientPointer sut{Ostra::CreateDeviceStackClient(stack.GetAddress())};
};

TEST_F(DirectSend, WhatTheSocketDoesNotTakeGoesOutInOrderBeforeWhatFollows) {
    const auto start = Clock::now();
    SendTooMany();
    EXPECT_TRUE(sut->Send("short"));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(10)) << "the caller waits for a peer that does not read";
    stack.BeginToRead();
    ExpectTooMany();
    EXPECT_EQ(stack.NextFrame(), "short");
    EXPECT_TRUE(sut->Send("after"));
    EXPECT_EQ(stack.NextFrame(), "after");
}

TEST_F(DirectSend, ThreadsKeepTheirOrderEach) {
    stack.BeginToRead();
    constexpr int Messages = 500;
    const auto send = [this](const std::string& name) {
        for (int i = 0; i < Messages; ++i) {
            EXPECT_TRUE(sut->Send(name + std::to_string(i)));
        }
    };
    boost::thread other([&send] { send("b"); });
    send("a");
    other.join();
    int a = 0;
    int b = 0;
    for (int i = 0; i < 2 * Messages; ++i) {
        const std::string frame = stack.NextFrame();
        int& next = frame.front() == 'a' ? a : b;
        EXPECT_EQ(frame.substr(1), std::to_string(next));
        ++next;
    }
    EXPECT_EQ(a, Messages);
    EXPECT_EQ(b, Messages);
}

TEST_F(DirectSend, AnswerToAPingDoesNotBreakAMessageThatWaits) {
    SendTooMany();
    stack.Ping("alive?");
    stack.BeginToRead();
    ExpectTooMany();
    EXPECT_EQ(stack.NextPong(), "alive?");
    EXPECT_TRUE(sut->Send("after"));
    EXPECT_EQ(stack.NextFrame(), "after");
}

TEST_F(DirectSend, ReleaseClosesInDueFormAfterWhatWasSent) {
    SendTooMany();
    stack.BeginToRead();
    ExpectTooMany();
    EXPECT_TRUE(sut->Send("last"));
    sut.reset();
    EXPECT_EQ(stack.NextFrame(), "last");
    EXPECT_TRUE(stack.AwaitProperClose());
}

TEST_F(DirectSend, ReleaseDoesNotWaitForAPeerThatDoesNotRead) {
    SendTooMany();
    const auto start = Clock::now();
    sut.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

TEST_F(DirectSend, OnAConnectionThatIsLostItSaysSoAndDoesNotBlock) {
    SendTooMany();
    stack.SetManner(Manner::HangsUp);
    stack.DropConnection();
    EXPECT_EQ(events.record.Await(1), Lines{"disconnected"});
    EXPECT_FALSE(sut->Send("x"));
}

TEST_F(DirectSend, WhileTheConnectionIsLostNoMessageHarms) {
    stack.DropConnection();
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while (sut->Send("x") && Clock::now() < deadline) {
    }
    EXPECT_LT(Clock::now(), deadline);
    EXPECT_EQ(events.record.Await(2), (Lines{"disconnected", "connected"}));
}

TEST_F(DirectSend, AfterThePeerHasTakenLeaveNothingIsSent) {
    stack.BeginToRead();
    stack.CloseConnection();
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while (sut->Send("x") && Clock::now() < deadline) {
    }
    EXPECT_LT(Clock::now(), deadline);
    EXPECT_EQ(events.record.Await(2), (Lines{"disconnected", "connected"}));
}

/// Calls a function for each event, on the event thread.
class CallingHandler : public RecordingEventHandler {
public:
    explicit CallingHandler(std::function<void()> call) : call_(std::move(call)) {}
    bool OnConfigurationChanged(unsigned long id) override {
        call_();
        return RecordingEventHandler::OnConfigurationChanged(id);
    }

private:
    std::function<void()> call_;
};

TEST_F(DirectSend, WhatAHandlerSendsGoesOutWhileItWaits) {
    CallingHandler handler([this] {
        SendTooMany();
        stack.BeginToRead();
        ExpectTooMany();
    });
    sut->SetEventHandler(&handler);
    stack.SendFrame(Event);
    EXPECT_EQ(handler.record.Await(1), Lines{"configuration 12"});
    sut->SetEventHandler(nullptr);
}

TEST_F(DirectSend, PingIsAnsweredWhileAHandlerWaits) {
    std::string pong;
    CallingHandler handler([&] {
        stack.BeginToRead();
        stack.Ping("alive?");
        pong = stack.NextPong();
    });
    sut->SetEventHandler(&handler);
    stack.SendFrame(Event);
    handler.record.Await(1);
    sut->SetEventHandler(nullptr);
    EXPECT_EQ(pong, "alive?");
}

TEST_F(DirectSend, LostConnectionComesBackWhileAHandlerWaits) {
    bool isBack = false;
    CallingHandler handler([&] {
        stack.DropConnection();
        isBack = stack.AwaitConnections(2).size() == 2;
    });
    sut->SetEventHandler(&handler);
    stack.SendFrame(Event);
    EXPECT_EQ(handler.record.Await(3), (Lines{"configuration 12", "disconnected", "connected"}));
    sut->SetEventHandler(nullptr);
    EXPECT_TRUE(isBack);
}

}  // namespace
