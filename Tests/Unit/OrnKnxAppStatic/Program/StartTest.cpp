#include "ProgramFixture.h"

namespace {

using namespace Program;

class ProgramStart : public ProgramFixture {};

TEST_F(ProgramStart, CycleWaitsTwoSecondsForALoadEvent) {
    stack_.LoadState(TestSupport::FakeKnxStack::ApplicationObject).OnEnable([] {});
    ASSERT_EQ(sut_->Init(stack_), Started);

    EXPECT_TRUE(WaitUntil([this] { return clock_->cycleWait != 0; }));
    EXPECT_EQ(Zandrel::Clock::Duration(clock_->cycleWait), boost::chrono::seconds(2));
    clock_->Advance(boost::chrono::seconds(2));
    EXPECT_TRUE(WaitForLine(Aborted));
}

}  // namespace
