#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <boost/filesystem/fstream.hpp>
#include <climits>
#include <csignal>

#include "CapturingAppender.h"
#include "ProcessTestTools.h"
#include "SystemFaults.h"

namespace {

using ProcessTestTools::Child;
using ProcessTestTools::CountDescriptors;
using ProcessTestTools::Pipe;
using ProcessTestTools::Start;
using TestSupport::GlobalLogCapture;
using TestSupport::LogLine;
using Zandrel::OrnProcessHandle;
using Zandrel::SpawnResult;
using Zandrel::StandardStreams;

class Spawn : public testing::Test {
protected:
    Spawn() {
        testing::FLAGS_gtest_death_test_style = "threadsafe";  // the logging library has threads
        boost::filesystem::create_directory(folder_);
    }
    void TearDown() override {
        boost::filesystem::remove_all(folder_);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
        EXPECT_EQ(CountDescriptors(), descriptors_);
    }

    /// A file in a folder of this test's own.
    std::string MakeFile(const std::string& content, mode_t mode) {
        const boost::filesystem::path file = folder_ / "program";
        boost::filesystem::ofstream(file) << content;
        EXPECT_EQ(chmod(file.c_str(), mode), 0);
        return file.string();
    }

    /// Fails with `error`, holds no process and has left none behind.
    static void ExpectError(int error, const std::vector<std::string>& arguments, const StandardStreams& streams = {}) {
        const SpawnResult result = OrnProcessHandle::Spawn(arguments, streams);
        EXPECT_EQ(result.error.value(), error) << result.error.message();
        EXPECT_EQ(result.error.category(), boost::system::system_category());
        EXPECT_FALSE(result.process.HoldsProcess());
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    }

    /// What a test child that ends by itself prints.
    static std::string OutputOf(const std::vector<std::string>& arguments) {
        Pipe pipe;
        OrnProcessHandle child = Start(arguments, {pipe.GetReadEnd(), pipe.GetWriteEnd(), pipe.GetWriteEnd()});
        std::string output = pipe.ReadAll();
        EXPECT_EQ(child.Wait(), 0);
        return output;
    }

    GlobalLogCapture log_;
    const std::ptrdiff_t descriptors_ = CountDescriptors();
    const boost::filesystem::path folder_ =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("orn-%%%%%%%%%%%%");
};

TEST_F(Spawn, PassesEveryArgumentUnchanged) {
    EXPECT_EQ(OutputOf({"arguments", "a b", "", "\"$HOME\" *", "\xc3\xa4\xff"}), "a b\n\n\"$HOME\" *\n\xc3\xa4\xff\n");
}

TEST_F(Spawn, MissingProgramIsReportedAndItsChildExitsWith255AndIsReaped) {
    ExpectError(ENOENT, {(folder_ / "missing").string()});
    EXPECT_TRUE(WIFEXITED(SystemFaults::lastWaitStatus));
    EXPECT_EQ(WEXITSTATUS(SystemFaults::lastWaitStatus), 255);
    EXPECT_TRUE(log_.GetLines().empty());
}

TEST_F(Spawn, ProgramIsAPathAndNotSearchedFor) {
    ExpectError(ENOENT, {"sleep", "0"});
    ExpectError(ENOENT, {""});
}

TEST_F(Spawn, FileThatIsNotExecutableIsReported) {
    ExpectError(EACCES, {MakeFile("content", S_IRUSR | S_IWUSR)});
}

TEST_F(Spawn, FolderIsReported) {
    ExpectError(EACCES, {folder_.string()});
}

TEST_F(Spawn, FileInThePlaceOfAFolderIsReported) {
    ExpectError(ENOTDIR, {MakeFile("content", S_IRWXU) + "/program"});
}

TEST_F(Spawn, FileThatIsNoProgramIsReported) {
    ExpectError(ENOEXEC, {MakeFile("content", S_IRWXU)});
}

TEST_F(Spawn, TooManyArgumentsAreReported) {
    constexpr std::size_t Length = 1U << 17U;  // a single argument may not be longer, and 64 of them neither
    ExpectError(E2BIG, Child({"exit", "0", std::string(Length, 'a')}));
}

TEST_F(Spawn, ArgumentsThatNoProgramCouldReceiveAreRefused) {
    ExpectError(EINVAL, {});
    ExpectError(EINVAL, Child({"exit", std::string("0\0 1", 4)}));
}

TEST_F(Spawn, LackOfDescriptorsIsReported) {
    // A sanitizer looks at an object of a type that is new to it through a pipe.
    ExpectError(ENOENT, {"/nowhere"});
    const int lowestFree = dup(STDERR_FILENO);
    close(lowestFree);
    rlimit previous{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &previous), 0);
    const rlimit tight{static_cast<rlim_t>(lowestFree), previous.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);

    ExpectError(EMFILE, Child({"exit", "0"}));

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &previous), 0);
}

TEST_F(Spawn, LackOfProcessesIsReported) {
    SystemFaults::forkError = EAGAIN;

    ExpectError(EAGAIN, Child({"exit", "0"}));
}

TEST_F(Spawn, ChildThatNobodyHearsOfIsKilled) {
    SystemFaults::readError = EIO;

    ExpectError(EIO, Child({"pause"}));
    EXPECT_TRUE(WIFSIGNALED(SystemFaults::lastWaitStatus));
    EXPECT_EQ(
        log_.GetLines(),
        (std::vector<LogLine>{{"INFO", "Wait (" + log_.GetLastSource() + ") - Child process was killed by signal 9"}}));
}

TEST_F(Spawn, InterruptedReadIsRepeated) {
    SystemFaults::readError = EINTR;
    EXPECT_EQ(Start({"exit", "3"}).Wait(), 3);

    SystemFaults::readError = EINTR;
    ExpectError(ENOENT, {(folder_ / "missing").string()});
}

/// Another thread has forked while the error pipe was open, and its child, `program` where there is one, lives as long
/// as this.
class ForeignFork {
public:
    explicit ForeignFork(const char* program = nullptr) {
        SystemFaults::strangerProgram = program;
        SystemFaults::strangerForks = true;
    }
    ~ForeignFork() {
        kill(SystemFaults::stranger, SIGKILL);
        waitpid(SystemFaults::stranger, nullptr, 0);
    }
    ForeignFork(const ForeignFork&) = delete;
    ForeignFork& operator=(const ForeignFork&) = delete;
};

TEST_F(Spawn, ForeignForkThatHoldsTheErrorPipeDoesNotHoldUpAStartForEver) {
    const ForeignFork stranger;
    SpawnResult result = OrnProcessHandle::Spawn(Child({"exit", "3"}), {}, boost::chrono::milliseconds(20));

    EXPECT_FALSE(result.error) << result.error.message();
    EXPECT_EQ(result.process.Wait(), 3);
}

TEST_F(Spawn, ForeignProgramDoesNotInheritTheErrorPipe) {
    const auto begin = boost::chrono::steady_clock::now();
    const ForeignFork stranger(TEST_CHILD);
    SpawnResult result = OrnProcessHandle::Spawn(Child({"exit", "3"}), {}, boost::chrono::minutes(1));

    EXPECT_FALSE(result.error) << result.error.message();
    EXPECT_LT(boost::chrono::steady_clock::now() - begin, boost::chrono::seconds(30)) << "the start was not reported";
    EXPECT_EQ(result.process.Wait(), 3);
}

TEST_F(Spawn, FailureIsReportedAtOnceThoughAForeignForkHoldsTheErrorPipe) {
    const auto begin = boost::chrono::steady_clock::now();
    SpawnResult result;
    {
        const ForeignFork stranger;
        result = OrnProcessHandle::Spawn({(folder_ / "missing").string()}, {}, boost::chrono::minutes(1));
    }

    EXPECT_EQ(result.error.value(), ENOENT);
    EXPECT_LT(boost::chrono::steady_clock::now() - begin, boost::chrono::seconds(30));
}

TEST_F(Spawn, ChildHasNoDescriptorsButItsStreams) {
    const int low = dup(STDERR_FILENO);
    const int high = fcntl(low, F_DUPFD, 200);

    EXPECT_EQ(OutputOf({"descriptors"}), "0 1 2 \n");

    close(low);
    close(high);
}

TEST_F(Spawn, ChildHasNoDescriptorsButItsStreamsOnAnOldKernelEither) {
    const int low = dup(STDERR_FILENO);
    const int high = fcntl(low, F_DUPFD, 200);
    SystemFaults::closeRangeIsMissing = true;

    EXPECT_EQ(OutputOf({"descriptors"}), "0 1 2 \n");

    SystemFaults::closeRangeIsMissing = false;
    close(low);
    close(high);
}

TEST_F(Spawn, DescriptorAboveTheLimitIsClosedWhereTheKernelClosesThemAll) {
    if (syscall(SYS_close_range, UINT_MAX, UINT_MAX, 0U) != 0) {
        GTEST_SKIP() << "this kernel has no close_range";
    }
    constexpr int High = 200;
    const int high = fcntl(STDERR_FILENO, F_DUPFD, High);
    rlimit previous{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &previous), 0);
    const rlimit tight{High, previous.rlim_max};  // a loop up to the limit does not come to it
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);

    EXPECT_EQ(OutputOf({"descriptors"}), "0 1 2 \n");

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &previous), 0);
    close(high);
}

TEST_F(Spawn, RedirectionReachesEachStream) {
    Pipe output;
    Pipe error;
    OrnProcessHandle sut = Start({"streams"}, {{}, output.GetWriteEnd(), error.GetWriteEnd()});

    EXPECT_EQ(output.ReadAll(), "out");
    EXPECT_EQ(error.ReadAll(), "err");
    EXPECT_EQ(sut.Wait(), 0);

    Pipe input;
    sut = Start({"until-eof"}, {input.GetReadEnd(), {}, {}});
    EXPECT_FALSE(sut.Wait(boost::chrono::milliseconds(0)));
    input.CloseWriteEnd();
    EXPECT_EQ(sut.Wait(), 0);
}

TEST_F(Spawn, OneDescriptorServesSeveralStreams) {
    Pipe pipe;
    OrnProcessHandle sut = Start({"streams"}, {{}, pipe.GetWriteEnd(), pipe.GetWriteEnd()});

    EXPECT_EQ(pipe.ReadAll(), "outerr");
    EXPECT_EQ(sut.Wait(), 0);
}

TEST_F(Spawn, DescriptorThatIsNotOpenIsReported) {
    ExpectError(EBADF, Child({"exit", "0"}), {{}, 9999, {}});
    ExpectError(EBADF, Child({"exit", "0"}), {-1, {}, {}});
}

/// In a process of its own: ends with 0 when its output and error were exchanged for its child.
[[noreturn]] void SwapStreams() {
    Pipe output;
    Pipe error;
    dup2(output.GetWriteEnd(), STDOUT_FILENO);
    dup2(error.GetWriteEnd(), STDERR_FILENO);
    fcntl(STDOUT_FILENO, F_SETFD, FD_CLOEXEC);
    OrnProcessHandle child = Start({"streams"}, {{}, STDERR_FILENO, STDOUT_FILENO});
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    const bool swapped = output.ReadAll() == "err" && error.ReadAll() == "out";
    _exit(child.Wait() == 0 && swapped ? 0 : 1);
}

TEST_F(Spawn, StreamsOfTheParentCanBeSwapped) {
    EXPECT_EXIT(SwapStreams(), testing::ExitedWithCode(0), "");
}

/// In a process of its own: ends with 0 when a child starts although the parent has no standard streams.
[[noreturn]] void SpawnWithoutStreams() {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    const bool missing = OrnProcessHandle::Spawn({"/missing"}).error.value() == ENOENT;
    const bool started = Start({"exit", "3"}).Wait() == 3;

    Pipe pipe;  // becomes 0 and 1
    OrnProcessHandle child = Start({"streams"}, {{}, pipe.GetWriteEnd(), pipe.GetWriteEnd()});
    const bool redirected = pipe.ReadAll() == "outerr" && child.Wait() == 0;
    _exit(missing && started && redirected ? 0 : 1);
}

TEST_F(Spawn, ParentNeedsNoStandardStreams) {
    EXPECT_EXIT(SpawnWithoutStreams(), testing::ExitedWithCode(0), "");
}

/// In a process of its own: ends with 0 when the error pipe cannot be moved out of the streams' way.
[[noreturn]] void SpawnWithoutRoom() {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    SystemFaults::duplicationError = EMFILE;
    const SpawnResult result = OrnProcessHandle::Spawn(Child({"exit", "0"}));
    _exit(result.error.value() == EMFILE && !result.process.HoldsProcess() ? 0 : 1);
}

TEST_F(Spawn, LackOfDescriptorsAboveTheStreamsIsReported) {
    EXPECT_EXIT(SpawnWithoutRoom(), testing::ExitedWithCode(0), "");
}

/// Ignores a signal, for as long as it lives.
class IgnoredSignal {
public:
    explicit IgnoredSignal(int number) : number_(number) {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        EXPECT_EQ(sigaction(number_, &ignore, &previous_), 0);
    }
    ~IgnoredSignal() { EXPECT_EQ(sigaction(number_, &previous_, nullptr), 0); }
    IgnoredSignal(const IgnoredSignal&) = delete;
    IgnoredSignal& operator=(const IgnoredSignal&) = delete;

private:
    const int number_;
    struct sigaction previous_ {};
};

TEST_F(Spawn, ChildBlocksNoSignalsAndGetsSigpipe) {
    sigset_t blocked;
    sigset_t previous;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &previous), 0);
    std::string output;
    {
        const IgnoredSignal brokenPipe(SIGPIPE);
        const IgnoredSignal hangUp(SIGHUP);
        output = OutputOf({"signals"});
    }
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &previous, &after), 0);
    EXPECT_EQ(sigismember(&after, SIGTERM), 1);
    EXPECT_EQ(sigismember(&after, SIGINT), 0);
    EXPECT_EQ(output.find("blocked"), std::string::npos) << output;
    EXPECT_EQ(output.find("ignored 13\n"), std::string::npos) << output;
    EXPECT_NE(output.find("ignored 1\n"), std::string::npos) << output;
}

TEST_F(Spawn, ChildOutlivesTheThreadThatSpawnedIt) {
    OrnProcessHandle sut;
    boost::thread([&sut] { sut = Start({"pause"}); }).join();

    EXPECT_FALSE(sut.Wait(boost::chrono::milliseconds(5)));
    sut.Kill();
    EXPECT_EQ(sut.Wait(), -1);
}

}  // namespace
