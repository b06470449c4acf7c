#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <boost/thread/scoped_thread.hpp>
#include <csignal>
#include <deque>

#include "CapturingAppender.h"
#include "ProcessTestTools.h"
#include "RepeatCount.h"

namespace {

using ProcessTestTools::CountDescriptors;
using ProcessTestTools::Pipe;
using ProcessTestTools::Start;
using Zandrel::OrnProcessHandle;

/// Calls `step` again and again, on a thread of its own, until it is destroyed.
class Repeating {
public:
    template <typename Step>
    explicit Repeating(Step step)
        : thread_([this, step] {
              while (!stop_) {
                  step();
              }
          }) {}
    ~Repeating() {
        stop_ = true;
        thread_.join();
    }
    Repeating(const Repeating&) = delete;
    Repeating& operator=(const Repeating&) = delete;

private:
    std::atomic<bool> stop_{false};
    boost::thread thread_;
};

// What other libraries of the host may do at any time

/// Programs that run until the end. One that had inherited an error pipe would leave its reader waiting for as long as
/// it does.
class ForeignPrograms {
public:
    ForeignPrograms() = default;
    ~ForeignPrograms() { std::for_each(pids_.begin(), pids_.end(), End); }
    ForeignPrograms(const ForeignPrograms&) = delete;
    ForeignPrograms& operator=(const ForeignPrograms&) = delete;

    /// The oldest one makes room.
    void StartOne() {
        constexpr std::size_t Most = 200;
        if (pids_.size() == Most) {
            boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
            End(pids_.front());
            pids_.pop_front();
        }
        std::string program = TEST_CHILD;
        std::array<char*, 2> arguments{program.data(), nullptr};
        pid_t pid = -1;
        ASSERT_EQ(posix_spawn(&pid, program.c_str(), nullptr, nullptr, arguments.data(), environ), 0);
        pids_.push_back(pid);
    }

private:
    static void End(pid_t pid) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    std::deque<pid_t> pids_;
};

void ForkWithoutExec() {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(0);
    }
    ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
}

void OpenForAMoment() {
    close(open("/dev/null", O_RDONLY));  // NOLINT(android-cloexec-open): to be inherited is the point
}

/// Nobody inherits an error pipe, so that no start waits. One that did would outlast the time limit of the test.
constexpr boost::chrono::hours NoEnd{1};

/// ORN_TEST_SPAWNS: how many children, 1,000 where it is not set.
TEST(SpawnStress, ManyChildrenAtOnceInheritAndLoseNothing) {
    constexpr unsigned long Threads = 25;
    const unsigned long childrenPerThread = TestSupport::GetRepeatCount("ORN_TEST_SPAWNS", 1000) / Threads;
    const TestSupport::GlobalLogCapture log;
    const std::ptrdiff_t descriptors = CountDescriptors();
    std::atomic<unsigned long> good{0};
    {
        ForeignPrograms programs;
        const Repeating starting([&programs] { programs.StartOne(); });
        const Repeating forking(ForkWithoutExec);
        const Repeating opening(OpenForAMoment);
        std::vector<boost::scoped_thread<>> threads;
        threads.reserve(Threads);
        for (unsigned long i = 0; i < Threads; ++i) {
            threads.emplace_back(boost::thread([&good, childrenPerThread] {
                for (unsigned long child = 0; child < childrenPerThread; ++child) {
                    Pipe pipe;
                    OrnProcessHandle sut =
                        Start({"descriptors"}, {pipe.GetReadEnd(), pipe.GetWriteEnd(), pipe.GetWriteEnd()}, NoEnd);
                    const std::string output = pipe.ReadAll();
                    EXPECT_EQ(output, "0 1 2 \n");
                    const int status = sut.Wait();
                    EXPECT_EQ(status, 0);
                    good += output == "0 1 2 \n" && status == 0 ? 1U : 0U;
                }
            }));
        }
    }
    EXPECT_EQ(good, Threads * childrenPerThread);
    EXPECT_EQ(CountDescriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_TRUE(log.GetLines().empty());
}

std::atomic<int> signals{0};

TEST(SpawnStress, StormOfSignalsChangesNoResult) {
    constexpr int Rounds = 50;
    const TestSupport::GlobalLogCapture log;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };  // without SA_RESTART: calls are interrupted
    struct sigaction previous {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    signals = 0;
    {
        const Repeating storm([target = pthread_self()] {
            pthread_kill(target, SIGUSR1);
            boost::this_thread::sleep_for(boost::chrono::microseconds(20));
        });
        for (int i = 0; i < Rounds; ++i) {
            EXPECT_EQ(Start({"exit", "7"}).Wait(), 7);
            EXPECT_EQ(Start({"exit", "8"}).Wait(boost::chrono::seconds(10)), 8);
            EXPECT_EQ(OrnProcessHandle::Spawn({"/missing"}).error.value(), ENOENT);
        }
    }
    EXPECT_GT(signals, 3 * Rounds) << "more than one for each start";
    ASSERT_EQ(sigaction(SIGUSR1, &previous, nullptr), 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_TRUE(log.GetLines().empty());
}

}  // namespace
