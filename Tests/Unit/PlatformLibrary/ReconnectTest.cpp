#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ClientPointer.h"
#include "FakeDeviceStack.h"
#include "Ostra/IDeviceStackClient.h"
#include "RecordingHandlers.h"
#include "Zandrel/DscAsyncRequestMessenger.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace {

using TestSupport::FakeDeviceStack;
using Manner = FakeDeviceStack::Manner;
using TestSupport::LogLine;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

class Reconnect : public testing::Test {
protected:
    Reconnect() {
        sut->SetEventHandler(&events);
        sut->SetResponseHandler(&answers);
    }
    void LoseConnection() {
        stack.DropConnection();
        ASSERT_EQ(events.record.Await(1), Lines{"disconnected"});
    }
    void AwaitReconnected() { ASSERT_EQ(events.record.Await(2), (Lines{"disconnected", "connected"})); }

    TestSupport::GlobalLogCapture log;
    FakeDeviceStack stack;
    RecordingEventHandler events;
    RecordingResponseHandler answers;
    ClientPointer sut{Ostra::CreateDeviceStackClient(stack.GetAddress())};
};

TEST_F(Reconnect, TellsBothHandlersAndComesBack) {
    LoseConnection();
    EXPECT_EQ(answers.record.Await(1), Lines{"lost"});
    AwaitReconnected();
    stack.SendFrame(R"({"request":7,"error":"no"})");
    EXPECT_EQ(answers.record.Await(2), (Lines{"lost", "7 refused no"}));
    EXPECT_EQ(log.TakeLines(), (std::vector<LogLine>{{"WARN", "Connection to device stack lost: End of file"},
                                                     {"INFO", "Connected to device stack again."}}));
}

TEST_F(Reconnect, RepeatsTheSessionWithoutNumbersBeforeAnythingElse) {
    sut->SendAtEveryConnect(R"({"request":5,"command":"RegisterApplication","name":"A"})");
    sut->SendAtEveryConnect(R"({"command":"EnableNativeFormat"})");
    sut->SendAtEveryConnect(R"({"command":"EnableNativeFormat"})");
    EXPECT_TRUE(sut->Send("1"));
    EXPECT_EQ(stack.NextFrame(), "1");
    LoseConnection();
    AwaitReconnected();
    EXPECT_TRUE(sut->Send("2"));
    EXPECT_EQ(stack.NextFrame(), R"({"command":"RegisterApplication","name":"A"})");
    EXPECT_EQ(stack.NextFrame(), R"({"command":"EnableNativeFormat"})");
    EXPECT_EQ(stack.NextFrame(), "2");
}

TEST_F(Reconnect, RefusesASessionRequestThatIsNoObject) {
    sut->SendAtEveryConnect("[1]");
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"WARN", "A request for every connect is not a JSON object: \"[1]\""}}));
}

TEST_F(Reconnect, WhileThereIsNoConnectionNothingIsSent) {
    stack.StopListening();
    LoseConnection();
    EXPECT_FALSE(sut->Send("1"));
    stack.ListenAgain();
    AwaitReconnected();
    EXPECT_TRUE(sut->Send("2"));
    EXPECT_EQ(stack.NextFrame(), "2");
}

TEST_F(Reconnect, LostConnectionEndsOpenRequests) {
    Zandrel::RemoteRequestMessengerDeviceStack road(*sut);
    Zandrel::DscAsyncRequestMessenger messenger(road, boost::posix_time::seconds(60), 3, log.GetLogger());
    messenger.SetAsResponseHandler();
    const auto docket = messenger.Request(R"({"command":"X"})", {});
    stack.DropConnection();
    EXPECT_FALSE(docket.IsReplyValid());
    EXPECT_TRUE(docket.IsAnswered());
    EXPECT_EQ(docket.ReadDeliveryError(), "Connection to device stack lost.");
}

TEST_F(Reconnect, PausesGrow) {
    stack.SetManner(Manner::HangsUp);
    stack.DropConnection();
    const auto times = stack.AwaitConnections(5);
    ASSERT_GE(times.size(), 5U);
    // The pauses before the second to the last attempt; that before the first began at an unknown time.
    EXPECT_GE(times[2] - times[1], std::chrono::milliseconds(190));
    EXPECT_GE(times[3] - times[2], std::chrono::milliseconds(390));
    EXPECT_GE(times[4] - times[3], std::chrono::milliseconds(790));
}

TEST_F(Reconnect, ReleaseEndsAPause) {
    stack.StopListening();
    LoseConnection();
    const auto start = Clock::now();
    sut.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(Reconnect, ReleaseEndsAnAttempt) {
    stack.SetManner(Manner::NeverShakesHands);
    stack.DropConnection();
    ASSERT_EQ(stack.AwaitConnections(2).size(), 2U);
    const auto start = Clock::now();
    sut.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(Reconnect, PeerThatDoesNotReadIsGivenUp) {
    stack.SetManner(Manner::NeverReads);
    LoseConnection();
    AwaitReconnected();
    stack.SetManner(Manner::Talks);
    const std::string request(8U << 20U, 'x');
    int accepted = 0;
    while (accepted < 100 && sut->Send(request)) {
        ++accepted;
    }
    EXPECT_GE(accepted, 8);
    EXPECT_LT(accepted, 100);
    EXPECT_EQ(events.record.Await(4), (Lines{"disconnected", "connected", "disconnected", "connected"}));
}

TEST_F(Reconnect, TooLongAFrameEndsTheConnection) {
    constexpr std::size_t LongestFrame = std::size_t{64} << 20U;
    stack.SendFrame(std::string(LongestFrame + 1, '?'));
    AwaitReconnected();
}

}  // namespace
