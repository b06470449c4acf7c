#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <string>
#include <vector>

#include "AppHostFixture.h"

namespace {

using namespace IntegrationTest;
using TestSupport::ExitStatus;
using Texts = std::vector<std::string>;

class AppHostRun : public AppHostFixture {
protected:
    void StartTroubleApp(const std::string& trouble) {
        SetUpDevice(trouble);
        Start(ORN_TROUBLE_APP);
    }
    /// Lets the running app make its trouble.
    void Call() { Write(Co1, "2.1:1"); }
};

/// What an app host without a device stack writes to its standard error output, one text for each of its writes.
Texts GetWritesWithoutDeviceStack() {
    std::array<int, 2> ends{};
    // A pipe of packets: each write is read by itself.
    EXPECT_EQ(pipe2(ends.data(), O_DIRECT | O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    std::string shell = "sh";
    std::string option = "-c";
    std::string command = "ORN_DEVICE_STACK=127.0.0.1:1 exec \"" ORN_APP_HOST "\" \"" ORN_COPY_APP "\" 1";
    const std::array<char*, 4> arguments{shell.data(), option.data(), command.data(), nullptr};
    pid_t pid = 0;
    EXPECT_EQ(posix_spawn(&pid, "/bin/sh", &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    Texts writes;
    std::array<char, PIPE_BUF> buffer{};
    for (ssize_t size = 0; (size = read(ends[0], buffer.data(), buffer.size())) > 0;) {
        writes.emplace_back(buffer.data(), static_cast<std::size_t>(size));
    }
    close(ends[0]);
    waitpid(pid, nullptr, 0);
    return writes;
}

TEST(AppHostLog, LineIsOneWriteThatNoOtherProgramCanTear) {
    const Texts writes = GetWritesWithoutDeviceStack();
    ASSERT_FALSE(writes.empty());
    const std::string end = " FATAL OrnAppHost - The app host ends: no connection to the device stack\n";
    ASSERT_GT(writes.back().size(), end.size());
    EXPECT_EQ(writes.back().substr(writes.back().size() - end.size()), end);
    for (const std::string& write : writes) {
        EXPECT_EQ(write.find('\n'), write.size() - 1) << write;
    }
}

TEST_F(AppHostRun, leadsAnAppFromItsStartToItsEnd) {
    StartTroubleApp("none");
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Write(Event, CommunicationOn);
    EXPECT_EQ(NextReport(), Told("on"));
    EXPECT_EQ(CountHeartbeats(), 1U);
    Call();
    EXPECT_EQ(NextReport(), Told("called"));
    Write(Event, CommunicationOff);
    EXPECT_EQ(NextReport(), Told("off"));
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
}

TEST_F(AppHostRun, obeysNoEventFromBeforeItsStart) {
    SetUpDevice("none");
    Write(Event, ShutDown);
    Start(ORN_TROUBLE_APP);
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Call();
    EXPECT_EQ(NextReport(), Told("called"));
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
}

TEST_F(AppHostRun, copiesManyValuesInOrder) {
    SetUpDevice();
    Start(ORN_COPY_APP);
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    constexpr int Count = 2000;
    for (int i = 0; i < Count; ++i) {
        Write(Co1, "3.1:" + std::to_string(i / 2));
    }
    for (int i = 0; i < Count; ++i) {
        ASSERT_EQ(NextReport(), "1010021 3.1:" + std::to_string(i / 2));
    }
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(2), (Texts{Stopping, Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
}

TEST_F(AppHostRun, endsByASignalAsByAnEvent) {
    for (const int signal : {SIGTERM, SIGINT}) {
        StartTroubleApp("none");
        EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
        appHost->Signal(signal);
        EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
        EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
    }
}

TEST_F(AppHostRun, reportsStoppedWhenTheAppDoesNotStart) {
    StartTroubleApp("start throw");
    EXPECT_EQ(NextReports(2), (Texts{Starting, Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(appHost->WaitForLine("ERROR OrnAppHost - The app threw an exception: trouble"));
}

TEST_F(AppHostRun, stopsAnAppThatThrows) {
    StartTroubleApp("call throw");
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Call();
    EXPECT_EQ(NextReports(4), (Texts{Told("called"), Stopping, Told("stopped"), Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(AppHostRun, stopsAnAppThatGivesUp) {
    StartTroubleApp("call fail");
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Call();
    EXPECT_EQ(NextReports(4), (Texts{Told("called"), Stopping, Told("stopped"), Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(appHost->WaitForLine("ERROR OrnAppHost.TroubleApp - trouble"));
}

class AppHostRunOfAnExit : public AppHostRun, public testing::WithParamInterface<const char*> {};

TEST_P(AppHostRunOfAnExit, reportsStoppedForAnAppThatEndsTheProcess) {
    StartTroubleApp(GetParam());
    std::string report = NextReport();
    EXPECT_EQ(report, Starting);
    if (std::string(GetParam()).find("start") != 0) {
        EXPECT_EQ(NextReport(), Running);
        Call();
        EXPECT_EQ(NextReport(), Told("called"));
    }
    EXPECT_EQ(NextReport(), Stopped);
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(appHost->WaitForLine("ERROR OrnAppHost - The app ended the process"));
}

INSTANTIATE_TEST_SUITE_P(All, AppHostRunOfAnExit,
                         testing::Values("start exit", "start exit on a thread", "call exit", "call exit on a thread"));

struct Crash {
    const char* trouble;
    int signal;

    friend std::ostream& operator<<(std::ostream& stream, const Crash& crash) { return stream << crash.trouble; }
};

class AppHostRunOfACrash : public AppHostRun, public testing::WithParamInterface<Crash> {};

TEST_P(AppHostRunOfACrash, saysSoAndDiesOfTheSignal) {
    StartTroubleApp(GetParam().trouble);
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Call();
    EXPECT_EQ(WaitForExit(), ExitStatus::Killed(GetParam().signal));
    EXPECT_TRUE(appHost->WaitForLine("ornapphost: the app has crashed; call stack:"));
}

INSTANTIATE_TEST_SUITE_P(All, AppHostRunOfACrash,
                         testing::Values(Crash{"call crash", SIGSEGV}, Crash{"call abort", SIGABRT}));

class AppHostRunOfAHang : public AppHostRun, public testing::WithParamInterface<const char*> {};

TEST_P(AppHostRunOfAHang, isEndedByTheSecondSignal) {
    StartTroubleApp(GetParam());
    while (NextReport() != Told("hanging")) {
        const std::string place = GetParam();
        if (place == "call hang") {
            Call();
        } else if (place == "stop hang") {
            Write(Event, ShutDown);
        }
    }
    appHost->Signal(SIGTERM);
    EXPECT_TRUE(appHost->WaitForLine("INFO  OrnAppHost - Asked to end by signal 15"));
    appHost->Signal(SIGTERM);
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(128 + SIGTERM));
}

INSTANTIATE_TEST_SUITE_P(All, AppHostRunOfAHang, testing::Values("start hang", "call hang", "stop hang"));

TEST_F(AppHostRun, endsWithItsParent) {
    SetUpDevice("none");
    StartAsGrandchild(ORN_TROUBLE_APP);
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    appHost->Signal(SIGKILL);
    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    // The orphan held the outputs open; it is gone when they are closed.
    EXPECT_FALSE(appHost->WaitForLine("never written"));
}

TEST_F(AppHostRun, endsWithItsParentThoughTheAppHangs) {
    SetUpDevice("call hang");
    StartAsGrandchild(ORN_TROUBLE_APP);
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    Call();
    EXPECT_EQ(NextReports(2), (Texts{Told("called"), Told("hanging")}));
    appHost->Signal(SIGKILL);
    EXPECT_TRUE(appHost->WaitForLine("FATAL OrnAppHost - The app does not stop: the process is ended"));
    EXPECT_FALSE(appHost->WaitForLine("never written"));
}

TEST_F(AppHostRun, endsWhenTheDeviceStackStaysGone) {
    StartTroubleApp("none");
    EXPECT_EQ(NextReports(2), (Texts{Starting, Running}));
    sut.Signal(SIGKILL);
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(appHost->WaitForLine("ERROR OrnAppHost - The device stack is gone: the app is ended"));
}

TEST_F(AppHostRun, failsWithoutTheDevice) {
    Start(ORN_COPY_APP);
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    EXPECT_TRUE(
        appHost->WaitForLine("FATAL OrnAppHost - The app host ends: the device stack refuses the request for "
                             "the object model: "));
}

}  // namespace
