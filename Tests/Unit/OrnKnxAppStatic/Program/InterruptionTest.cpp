#include "ProgramFixture.h"

namespace {

using namespace Program;

/// Calls of the host on a thread of Boost's that somebody has interrupted.
class ProgramOnAnInterruptedThread : public ProgramFixture {
protected:
    /// The result of `call`. The interruption has to be left to the thread's own waits.
    static int CallInterrupted(const std::function<int()>& call) {
        int result = -1;
        bool isStillInterrupted = false;
        boost::thread host([&] {
            while (!boost::this_thread::interruption_requested()) {
                boost::this_thread::yield();
            }
            result = call();
            isStillInterrupted = boost::this_thread::interruption_requested();
        });
        host.interrupt();
        host.join();
        EXPECT_TRUE(isStillInterrupted);
        return result;
    }
};

TEST_F(ProgramOnAnInterruptedThread, InitStartsACycle) {
    EXPECT_EQ(CallInterrupted([this] { return sut_->Init(stack_); }), Started);

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true});
}

TEST_F(ProgramOnAnInterruptedThread, RestartStartsACycle) {
    Start();
    Unload();

    EXPECT_EQ(CallInterrupted([this] { return sut_->OnDeviceRestart(); }), Started);

    EXPECT_TRUE(WaitForLine(Aborted));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramOnAnInterruptedThread, ExitGoesThroughAllItsSteps) {
    Start();

    EXPECT_EQ(CallInterrupted([this] { return sut_->Exit(); }), Exited);

    EXPECT_EQ(client_.GetCalls().back(), "release");
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramOnAnInterruptedThread, DeletionGoesThroughAllItsSteps) {
    Start();

    CallInterrupted([this] {
        sut_.reset();
        return 0;
    });

    EXPECT_EQ(client_.GetCalls().back(), "release");
    EXPECT_TRUE(GetChildren().empty());
}

}  // namespace
