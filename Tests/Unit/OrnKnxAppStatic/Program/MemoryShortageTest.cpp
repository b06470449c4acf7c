#include <atomic>
#include <boost/thread/thread_only.hpp>
#include <cstdint>
#include <functional>

#include "AllocationFault.h"
#include "ProgramFixture.h"

namespace {

using namespace Program;

/// Calls of the host, again and again: in each of them another one of its allocations fails, until none is left.
class ProgramMemoryShortage : public ProgramFixture {
protected:
    void SetUp() override {
        clock_->onJoin = [this] { isAnswerDue_ = true; };
    }
    void TearDown() override {
        ProgramFixture::TearDown();
        EXPECT_TRUE(WaitUntil([this] { return clock_.use_count() == 1; })) << "a cycle still holds its core";
    }

    /// A program whose cycle waits for the device stack, which answers once the cycle is joined.
    void GivenACycleThatWaits() {
        sut_.reset();
        client_.Hold("GetDeviceConfig");
        // A request that a shortage leaves open ends then.
        Create({boost::chrono::seconds(3), boost::chrono::seconds(3), Zandrel::Durations::ConnectionRetryPause});
        ASSERT_EQ(sut_->Init(stack_), Started);
        ASSERT_TRUE(client_.WaitUntilHeld());
        Forget();
        // On a thread of its own: no allocation of the answer is one of the call's.
        isAnswerDue_ = false;
        answer_ = boost::thread([this] {
            WaitUntil([this] { return isAnswerDue_.load(); });
            client_.AnswerHeld();
        });
    }
    /// An event would wait for the cycle.
    void UnloadWithoutAnEvent() {
        stack_.LoadState(TestSupport::FakeKnxStack::ApplicationObject).ServeFrom([](KnxStack::BinaryData& data) {
            data = KnxStack::BinaryData({0});
            return true;
        });
    }
    /// Once it gets its answer, the cycle that waited ends without a word about it: it was told to stop.
    void ExpectThatTheCycleWasStopped() {
        isAnswerDue_ = true;
        answer_.join();
        EXPECT_TRUE(WaitForLine("operator() - Thread finished."));
        EXPECT_FALSE(HasLine("operator() - Failed to configure object model"));
        EXPECT_TRUE(stack_.GetRunStates().empty());
    }

    /// The result of `call`, in which the allocation after `good` others fails.
    int CallWithAFault(unsigned good, const std::function<int()>& call) {
        const TestSupport::AllocationFault fault(good);
        const int result = call();
        isLast_ = !fault.HasHappened();
        return result;
    }

    bool isLast_ = false;  ///< the latest call made no allocation that could fail

private:
    std::atomic<bool> isAnswerDue_{false};
    boost::thread answer_;
};

TEST_F(ProgramMemoryShortage, DuringARestartDoesNotLetTheCycleBeforeGoOnAndALaterRestartWorks) {
    for (unsigned good = 0; !isLast_ && !HasFailure(); ++good) {
        SCOPED_TRACE(good);
        GivenACycleThatWaits();
        UnloadWithoutAnEvent();

        const int result = CallWithAFault(good, [this] { return sut_->OnDeviceRestart(); });

        if (result == Failure) {
            EXPECT_EQ(sut_->OnDeviceRestart(), Started);
        }
        ExpectThatTheCycleWasStopped();
        EXPECT_TRUE(WaitForLine(Aborted));
    }
}

TEST_F(ProgramMemoryShortage, DuringAnExitNeitherKeepsTheClientNorLetsTheCycleGoOn) {
    for (unsigned good = 0; !isLast_ && !HasFailure(); ++good) {
        SCOPED_TRACE(good);
        GivenACycleThatWaits();

        EXPECT_EQ(CallWithAFault(good, [this] { return sut_->Exit(); }), Exited);

        EXPECT_EQ(client_.GetCalls().back(), "release");
        ExpectThatTheCycleWasStopped();
    }
}

TEST_F(ProgramMemoryShortage, DuringTheDeletionNeitherKeepsTheClientNorLetsTheCycleGoOn) {
    for (unsigned good = 0; !isLast_ && !HasFailure(); ++good) {
        SCOPED_TRACE(good);
        GivenACycleThatWaits();

        CallWithAFault(good, [this] {
            sut_.reset();
            return 0;
        });

        EXPECT_EQ(client_.GetCalls().back(), "release");
        ExpectThatTheCycleWasStopped();
    }
}

}  // namespace
