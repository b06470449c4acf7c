#include "OrnProcessHandle.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <type_traits>
#include <utility>

#include "CapturingAppender.h"
#include "ProcessTestTools.h"
#include "SystemFaults.h"

namespace {

using boost::chrono::milliseconds;
using boost::chrono::seconds;
using ProcessTestTools::Eventually;
using ProcessTestTools::PidOf;
using ProcessTestTools::Pipe;
using ProcessTestTools::Start;
using TestSupport::GlobalLogCapture;
using TestSupport::LogLine;
using Zandrel::OrnProcessHandle;

class OrnProcessHandleTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind"; }

    /// The only line that was logged is `message`, from `Wait`.
    void ExpectLine(const std::string& level, const std::string& message) {
        EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{level, "Wait (" + log_.GetLastSource() + ") - " + message}}));
        EXPECT_EQ(log_.GetLastSource().rfind("OrnProcess/OrnProcessHandle:", 0), 0U);
    }

    GlobalLogCapture log_;
};

TEST_F(OrnProcessHandleTest, HoldsNoProcessAtFirst) {
    const OrnProcessHandle sut;

    EXPECT_FALSE(sut.HoldsProcess());
    EXPECT_EQ(PidOf(sut), -1);
}

TEST_F(OrnProcessHandleTest, HoldsItsProcessUntilItIsReaped) {
    OrnProcessHandle sut = Start({"exit", "0"});

    EXPECT_TRUE(sut.HoldsProcess());
    EXPECT_GT(PidOf(sut), 0);
    sut.Wait();
    EXPECT_FALSE(sut.HoldsProcess());
    EXPECT_EQ(PidOf(sut), -1);
}

TEST_F(OrnProcessHandleTest, KillOfAnEmptyHandleSucceedsAndSendsNothing) {
    const OrnProcessHandle sut;
    const int calls = SystemFaults::killCalls;

    EXPECT_FALSE(sut.Kill());
    EXPECT_EQ(SystemFaults::killCalls, calls);
}

TEST_F(OrnProcessHandleTest, WaitOnAnEmptyHandleReapsNobody) {
    OrnProcessHandle foreign = Start({"exit", "5"});
    const int calls = SystemFaults::waitpidCalls;
    OrnProcessHandle sut;

    EXPECT_EQ(sut.Wait(), 0);
    EXPECT_EQ(sut.Wait(seconds(1)), 0);
    EXPECT_EQ(SystemFaults::waitpidCalls, calls);
    EXPECT_EQ(foreign.Wait(), 5);
}

TEST_F(OrnProcessHandleTest, WaitReturnsTheExitStatus) {
    for (const int status : {0, 1, 42, 127, 255}) {
        OrnProcessHandle sut = Start({"exit", std::to_string(status)});
        EXPECT_EQ(sut.Wait(), status);
    }
    EXPECT_TRUE(log_.GetLines().empty());
}

TEST_F(OrnProcessHandleTest, WaitReportsTheSignalThatKilledTheChild) {
    OrnProcessHandle sut = Start({"pause"});

    EXPECT_FALSE(sut.Kill());
    EXPECT_TRUE(sut.HoldsProcess());
    EXPECT_EQ(sut.Wait(), -1);
    ExpectLine("INFO", "Child process was killed by signal 9");
}

TEST_F(OrnProcessHandleTest, AStoppedChildIsKilledAllTheSame) {
    OrnProcessHandle sut = Start({"pause"});
    ASSERT_EQ(kill(PidOf(sut), SIGSTOP), 0);

    EXPECT_FALSE(sut.Kill());
    EXPECT_EQ(sut.Wait(), -1);
    ExpectLine("INFO", "Child process was killed by signal 9");
}

TEST_F(OrnProcessHandleTest, WaitReportsAStopOfATracedChildAndGivesItUp) {
    OrnProcessHandle sut = Start({"stop-traced"});
    const pid_t pid = PidOf(sut);

    EXPECT_EQ(sut.Wait(), -1);
    EXPECT_FALSE(sut.HoldsProcess());
    ExpectLine("INFO", "Child process was stopped by signal " + std::to_string(SIGSTOP));

    EXPECT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(OrnProcessHandleTest, WaitReportsAChildThatContinued) {
    constexpr int Continued = 0xffff;
    OrnProcessHandle sut = Start({"exit", "0"});
    const pid_t pid = PidOf(sut);
    SystemFaults::waitpidStatus = Continued;

    EXPECT_EQ(sut.Wait(), -1);
    EXPECT_FALSE(sut.HoldsProcess());
    ExpectLine("INFO", "Child process continued");

    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(OrnProcessHandleTest, WaitForAChildThatSomebodyElseReapedReturnsZero) {
    OrnProcessHandle sut = Start({"exit", "3"});
    ASSERT_EQ(waitpid(PidOf(sut), nullptr, 0), PidOf(sut));

    EXPECT_EQ(sut.Wait(), 0);
    EXPECT_FALSE(sut.HoldsProcess());
    EXPECT_TRUE(log_.GetLines().empty());
}

TEST_F(OrnProcessHandleTest, KillOfAChildThatSomebodyElseReapedFails) {
    OrnProcessHandle sut = Start({"exit", "3"});
    ASSERT_EQ(waitpid(PidOf(sut), nullptr, 0), PidOf(sut));

    const boost::system::error_code error = sut.Kill();
    EXPECT_EQ(error.value(), ESRCH);
    EXPECT_EQ(error.category(), boost::system::system_category());
}

TEST_F(OrnProcessHandleTest, KillOfAnEndedChildThatIsNotReapedSucceeds) {
    OrnProcessHandle sut = Start({"exit", "3"});
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(PidOf(sut)), &info, WEXITED | WNOWAIT), 0);

    EXPECT_FALSE(sut.Kill());
    EXPECT_EQ(sut.Wait(), 3);
}

TEST_F(OrnProcessHandleTest, WaitReportsAnyOtherErrorAsFatal) {
    OrnProcessHandle sut = Start({"exit", "0"});
    const pid_t pid = PidOf(sut);
    SystemFaults::waitpidError = EINVAL;

    EXPECT_EQ(sut.Wait(), -1);
    EXPECT_FALSE(sut.HoldsProcess());
    ExpectLine("FATAL", "waitpid failed with -1 (errno 22, child pid " + std::to_string(pid) + ")");

    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(OrnProcessHandleTest, InterruptedWaitIsRepeated) {
    OrnProcessHandle sut = Start({"exit", "3"});
    SystemFaults::waitpidInterruptions = 1000;

    EXPECT_EQ(sut.Wait(), 3);
    EXPECT_TRUE(log_.GetLines().empty());
}

TEST_F(OrnProcessHandleTest, TimedWaitLeavesARunningChildWithItsHandle) {
    OrnProcessHandle sut = Start({"pause"});

    EXPECT_FALSE(sut.Wait(milliseconds(0)));
    EXPECT_FALSE(sut.Wait(milliseconds(5)));
    EXPECT_TRUE(sut.HoldsProcess());

    sut.Kill();
    EXPECT_EQ(sut.Wait(seconds(10)), -1);
    EXPECT_FALSE(sut.HoldsProcess());
    ExpectLine("INFO", "Child process was killed by signal 9");
}

TEST_F(OrnProcessHandleTest, TimedWaitLastsAsLongAsItsTimeout) {
    OrnProcessHandle sut = Start({"pause"});
    const auto start = boost::chrono::steady_clock::now();

    EXPECT_FALSE(sut.Wait(milliseconds(80)));
    EXPECT_GE(boost::chrono::steady_clock::now() - start, milliseconds(80));
    sut.Kill();
}

TEST_F(OrnProcessHandleTest, TimedWaitIsRepeatedWhenInterrupted) {
    OrnProcessHandle sut = Start({"exit", "3"});
    SystemFaults::waitpidInterruptions = 1000;

    EXPECT_EQ(sut.Wait(seconds(10)), 3);
}

TEST_F(OrnProcessHandleTest, DestructorWaitsForTheChildAndDoesNotKillIt) {
    Pipe pipe;
    OrnProcessHandle sut = Start({"until-eof"}, {pipe.GetReadEnd(), {}, {}});
    pipe.CloseReadEnd();
    const int waits = SystemFaults::waitpidCalls;
    const int kills = SystemFaults::killCalls;
    std::atomic<bool> destroyed{false};
    boost::thread thread([&destroyed, handle = std::move(sut)]() mutable {
        { const OrnProcessHandle last = std::move(handle); }
        destroyed = true;
    });
    EXPECT_TRUE(Eventually([waits] { return SystemFaults::waitpidCalls != waits; }));

    EXPECT_FALSE(destroyed);
    pipe.CloseWriteEnd();
    thread.join();
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(SystemFaults::killCalls, kills);
    EXPECT_TRUE(WIFEXITED(SystemFaults::lastWaitStatus));
}

TEST_F(OrnProcessHandleTest, ReleasedChildIsNobodysBusiness) {
    OrnProcessHandle sut = Start({"pause"});
    const pid_t pid = PidOf(sut);

    sut.Release();
    EXPECT_FALSE(sut.HoldsProcess());

    EXPECT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(OrnProcessHandleTest, NewHandleTakesTheProcessOver) {
    OrnProcessHandle source = Start({"exit", "3"});
    const int pid = PidOf(source);

    OrnProcessHandle sut(std::move(source));

    EXPECT_EQ(PidOf(sut), pid);
    EXPECT_EQ(PidOf(source), -1);  // NOLINT(bugprone-use-after-move): a handle moved from is empty
    EXPECT_EQ(sut.Wait(), 3);
}

TEST_F(OrnProcessHandleTest, MoveAssignmentSwaps) {
    OrnProcessHandle other = Start({"exit", "3"});
    OrnProcessHandle sut = Start({"exit", "4"});

    sut = std::move(other);

    EXPECT_EQ(sut.Wait(), 3);
    EXPECT_EQ(other.Wait(), 4);  // NOLINT(bugprone-use-after-move): it has the other process
}

TEST_F(OrnProcessHandleTest, CannotBeCopied) {
    static_assert(!std::is_copy_constructible_v<OrnProcessHandle> && !std::is_copy_assignable_v<OrnProcessHandle>);
    static_assert(std::is_nothrow_move_constructible_v<OrnProcessHandle> &&
                  std::is_nothrow_move_assignable_v<OrnProcessHandle>);
}

}  // namespace
