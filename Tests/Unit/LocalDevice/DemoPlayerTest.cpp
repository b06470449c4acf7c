#include "DemoPlayer.h"

#include <gmock/gmock.h>

#include <vector>

#include "KnxAddress.h"

namespace {

using LocalDevice::DemoPlayer;
using LocalDevice::DemoScript;
using LocalDevice::DemoStep;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t Button = 0x0801;
constexpr std::uint16_t Lamp = 0x0802;
constexpr std::uint16_t Display = 0x0803;

DemoStep Write(std::uint16_t address, const std::string& value) {
    return {"Write " + value, DemoStep::Kind::Write, address, value, boost::chrono::milliseconds(0)};
}

DemoStep Expect(std::uint16_t address, const std::string& value) {
    return {"Expect " + value, DemoStep::Kind::Expect, address, value, boost::chrono::milliseconds(1000)};
}

DemoStep Await(std::uint16_t address, const std::string& value) {
    return {"Await " + value, DemoStep::Kind::Await, address, value, boost::chrono::milliseconds(1000)};
}

/// A player whose actions are written down, at a time that the test moves.
class DemoPlayerTest : public testing::Test {
protected:
    void Play(std::vector<DemoStep> steps) {
        sut_.emplace(
            DemoScript{"Demo", std::move(steps)},
            DemoPlayer::Actions{[this](const DemoStep& step) { done_.push_back("write " + step.value); },
                                [this](const DemoStep& step, milliseconds wait) {
                                    done_.push_back("show " + step.value + " after " + std::to_string(wait.count()));
                                },
                                [this](const std::string& failure) { done_.push_back("end:" + failure); }});
        sut_->Begin(now_);
    }
    void Receive(std::uint16_t address, const std::string& value) { sut_->OnTelegram(address, value, now_); }
    void Pass(milliseconds time) {
        now_ += time;
        sut_->OnTime(now_);
    }

    DemoPlayer::TimePoint now_{};
    std::vector<std::string> done_;
    std::optional<DemoPlayer> sut_;
};

TEST_F(DemoPlayerTest, WritesUntilItExpectsSomething) {
    Play({Write(Button, "1"), Write(Button, "0"), Expect(Lamp, "1"), Write(Button, "2")});
    EXPECT_THAT(done_, ElementsAre("show 1 after 0", "write 1", "show 0 after 0", "write 0"));
}

TEST_F(DemoPlayerTest, ExpectedTelegramLetsItGoOn) {
    Play({Write(Button, "1"), Expect(Lamp, "1"), Write(Button, "0")});
    done_.clear();
    now_ += milliseconds(12);
    Receive(Lamp, "1");
    EXPECT_THAT(done_, ElementsAre("show 1 after 12", "show 0 after 0", "write 0", "end:"));
}

TEST_F(DemoPlayerTest, AnswersInAnotherOrderAreMet) {
    Play({Write(Button, "1"), Expect(Lamp, "1"), Expect(Display, "A")});
    done_.clear();
    Receive(Display, "A");
    EXPECT_THAT(done_, IsEmpty());
    Receive(Lamp, "1");
    EXPECT_THAT(done_, ElementsAre("show 1 after 0", "show A after 0", "end:"));
}

TEST_F(DemoPlayerTest, TelegramsOnOneAddressAreMetInTheirOrder) {
    Play({Write(Button, "1"), Expect(Display, "A"), Expect(Display, "B")});
    done_.clear();
    Receive(Display, "A");
    Receive(Display, "B");
    EXPECT_THAT(done_, ElementsAre("show A after 0", "show B after 0", "end:"));
}

TEST_F(DemoPlayerTest, OtherAddressesAreNoMatter) {
    Play({Write(Button, "1"), Expect(Lamp, "1")});
    done_.clear();
    Receive(Display, "x");
    Receive(Lamp, "1");
    EXPECT_THAT(done_, ElementsAre("show 1 after 0", "end:"));
}

TEST_F(DemoPlayerTest, TelegramFromBeforeTheLastWriteIsForgotten) {
    Play({Expect(Display, "A"), Write(Button, "1"), Expect(Lamp, "1")});
    Receive(Lamp, "0");
    Receive(Display, "A");
    done_.clear();
    Receive(Lamp, "1");
    EXPECT_THAT(done_, ElementsAre("show 1 after 0", "end:"));
}

TEST_F(DemoPlayerTest, WrongAnswerFails) {
    Play({Write(Button, "1"), Expect(Lamp, "1")});
    done_.clear();
    Receive(Lamp, "0");
    EXPECT_THAT(done_, ElementsAre("end:step 2, \"Expect 1\": expected \"1\" on 1/0/2, but \"0\" came"));
}

TEST_F(DemoPlayerTest, MissingAnswerFailsAtItsDeadline) {
    Play({Write(Button, "1"), Expect(Lamp, "1")});
    done_.clear();
    Pass(milliseconds(999));
    EXPECT_THAT(done_, IsEmpty());
    Pass(milliseconds(1));
    EXPECT_THAT(done_,
                ElementsAre("end:step 2, \"Expect 1\": expected \"1\" on 1/0/2, but nothing came within 1000 ms"));
}

TEST_F(DemoPlayerTest, EachExpectationHasItsOwnTime) {
    Play({Write(Button, "1"), Expect(Lamp, "1"), Expect(Lamp, "0")});
    Pass(milliseconds(900));
    Receive(Lamp, "1");
    EXPECT_EQ(sut_->GetDeadline(), now_ + milliseconds(1000));
    done_.clear();
    Pass(milliseconds(900));
    EXPECT_THAT(done_, IsEmpty());
}

TEST_F(DemoPlayerTest, AwaitedTelegramMayComeAfterOthers) {
    Play({Await(Display, "b"), Expect(Display, "c")});
    Receive(Display, "a");
    Receive(Display, "b");
    Receive(Display, "c");
    EXPECT_THAT(done_, ElementsAre("show b after 0", "show c after 0", "end:"));
}

TEST_F(DemoPlayerTest, AwaitedTelegramThatDoesNotComeFails) {
    Play({Await(Display, "b")});
    Receive(Display, "a");
    Pass(milliseconds(1000));
    EXPECT_THAT(done_,
                ElementsAre("end:step 1, \"Await b\": expected \"b\" on 1/0/3, but it did not come within 1000 ms"));
}

TEST_F(DemoPlayerTest, RefusedWriteFails) {
    Play({Write(Button, "x"), Expect(Lamp, "1")});
    done_.clear();
    sut_->OnWriteFailed("no boolean");
    EXPECT_THAT(done_, ElementsAre("end:the demo's telegram cannot be sent: no boolean"));
}

TEST_F(DemoPlayerTest, EmptyDemoEndsAtOnce) {
    Play({});
    EXPECT_THAT(done_, ElementsAre("end:"));
}

TEST_F(DemoPlayerTest, NothingHappensAfterTheEnd) {
    Play({Expect(Lamp, "1")});
    Receive(Lamp, "0");
    done_.clear();
    Receive(Lamp, "1");
    sut_->OnWriteFailed("late");
    Pass(milliseconds(5000));
    EXPECT_THAT(done_, IsEmpty());
    EXPECT_EQ(sut_->GetDeadline(), std::nullopt);
}

}  // namespace
