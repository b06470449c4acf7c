#include "Zandrel/Docket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/thread_only.hpp>
#include <memory>
#include <utility>

#include "Zandrel/DocketState.h"

namespace {

using Zandrel::Docket;
using State = Docket::State;
using boost::chrono::milliseconds;

std::shared_ptr<State> OpenState(
    milliseconds timeout, std::function<void()> whenTimedOut = [] {}) {
    return std::make_shared<State>(State::Clock::now() + timeout, std::move(whenTimedOut));
}

constexpr milliseconds Long{60000};
constexpr milliseconds Short{5};

TEST(Docket, OfNothingIsAnsweredWithAnError) {
    const Docket sut;
    EXPECT_FALSE(sut.IsReplyValid());
    EXPECT_TRUE(sut.IsAnswered());
    EXPECT_EQ(sut.ReadReply(), "");
    EXPECT_EQ(sut.ReadDeliveryError(), "no request");
}

TEST(Docket, MovedFromIsOfNothing) {
    Docket sut(std::make_shared<State>("refused"));
    const Docket moved = std::move(sut);
    EXPECT_EQ(moved.ReadDeliveryError(), "refused");
    EXPECT_EQ(sut.ReadDeliveryError(), "no request");  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
}

TEST(Docket, AcceptedAnswerIsValid) {
    const auto state = OpenState(Long);
    const Docket sut(state);
    ASSERT_TRUE(state->Conclude(State::Verdict::Accepted, "{}"));
    EXPECT_TRUE(sut.IsReplyValid());
    EXPECT_TRUE(sut.IsAnswered());
    EXPECT_EQ(sut.ReadReply(), "{}");
    EXPECT_EQ(sut.ReadDeliveryError(), "");
}

TEST(Docket, RefusedAnswerGivesTheReason) {
    const auto state = OpenState(Long);
    const Docket sut(state);
    ASSERT_TRUE(state->Conclude(State::Verdict::Refused, "no such point"));
    EXPECT_FALSE(sut.IsReplyValid());
    EXPECT_TRUE(sut.IsAnswered());
    EXPECT_EQ(sut.ReadReply(), "");
    EXPECT_EQ(sut.ReadDeliveryError(), "no such point");
}

TEST(Docket, TimeOutIsNoAnswer) {
    const Docket sut(OpenState(Short));
    EXPECT_FALSE(sut.IsReplyValid());
    EXPECT_FALSE(sut.IsAnswered());
    EXPECT_EQ(sut.ReadReply(), "");
    EXPECT_EQ(sut.ReadDeliveryError(), "");
}

TEST(Docket, TimeOutStandsAgainstALateAnswer) {
    const auto state = OpenState(Short);
    const Docket sut(state);
    EXPECT_FALSE(sut.IsAnswered());
    EXPECT_FALSE(state->Conclude(State::Verdict::Accepted, "{}"));
    EXPECT_FALSE(sut.IsReplyValid());
    EXPECT_FALSE(sut.IsAnswered());
    EXPECT_EQ(sut.ReadReply(), "");
}

TEST(Docket, AnswerAfterTheDeadlineIsLateThoughNobodyAsked) {
    const auto state = OpenState(milliseconds(0));
    EXPECT_FALSE(state->Conclude(State::Verdict::Accepted, "{}"));
    EXPECT_FALSE(Docket(state).IsAnswered());
}

TEST(Docket, SecondAnswerChangesNothing) {
    const auto state = OpenState(Long);
    const Docket sut(state);
    EXPECT_TRUE(state->Conclude(State::Verdict::Refused, "first"));
    EXPECT_FALSE(state->Conclude(State::Verdict::Accepted, "second"));
    EXPECT_EQ(sut.ReadDeliveryError(), "first");
}

TEST(Docket, TimeOutIsToldOnce) {
    std::atomic<int> told{0};
    const auto state = OpenState(Short, [&told] { ++told; });
    const Docket sut(state);
    boost::thread other([copy = sut] { copy.IsAnswered(); });
    sut.IsReplyValid();
    other.join();
    sut.IsAnswered();
    EXPECT_EQ(told, 1);
}

TEST(Docket, CopiesShareOneAnswer) {
    const auto state = OpenState(Long);
    const Docket sut(state);
    std::string replyOfCopy;
    boost::thread waiter([copy = sut, &replyOfCopy] {
        if (copy.IsReplyValid()) {
            replyOfCopy = copy.ReadReply();
        }
    });
    state->Conclude(State::Verdict::Accepted, "{}");
    waiter.join();
    EXPECT_EQ(replyOfCopy, "{}");
    EXPECT_EQ(sut.ReadReply(), "{}");
}

TEST(Docket, WaitIsAnInterruptionPoint) {
    const Docket sut(OpenState(Long));
    bool interrupted = false;
    boost::thread waiter([sut, &interrupted] {
        try {
            sut.IsReplyValid();
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
    });
    waiter.interrupt();
    waiter.join();
    EXPECT_TRUE(interrupted);
}

TEST(Docket, ReadingDoesNotWait) {
    const Docket sut(OpenState(Long));
    EXPECT_EQ(sut.ReadReply(), "");
    EXPECT_EQ(sut.ReadDeliveryError(), "");
}

}  // namespace
