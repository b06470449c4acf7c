#include "LaunchedProcess.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>

namespace {

using LocalDevice::LaunchedProcess;
using LocalDevice::ProcessEnd;
using testing::ElementsAre;
using testing::IsEmpty;

class LaunchedProcessTest : public testing::Test {
protected:
    static constexpr std::chrono::seconds Patience{20};

    std::shared_ptr<LaunchedProcess> Start(std::vector<std::string> arguments,
                                           std::vector<std::string> environment = {}) {
        io_.restart();
        return LaunchedProcess::Start(io_, {LAUNCHED_CHILD, std::move(arguments), std::move(environment)},
                                      {[this](const std::string& line) { lines_.push_back(line); },
                                       [this](const ProcessEnd& end) {
                                           ends_.push_back(end.how);
                                           wasInOrder_ = end.isInOrder;
                                       }});
    }

    void AwaitEnd() {
        while (ends_.empty() && io_.run_one_for(Patience) != 0) {
        }
    }
    void AwaitLine() {
        while (lines_.empty() && io_.run_one_for(Patience) != 0) {
        }
    }

    boost::asio::io_context io_;
    std::vector<std::string> lines_;
    std::vector<std::string> ends_;
    std::optional<bool> wasInOrder_;  ///< the last end
};

TEST_F(LaunchedProcessTest, ExitCodeIsTold) {
    const auto sut = Start({"exit", "3"});
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("exit code 3"));
    EXPECT_EQ(wasInOrder_, false);
}

TEST_F(LaunchedProcessTest, SignalIsTold) {
    const auto sut = Start({"abort"});
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("signal 6 (Aborted)"));
    EXPECT_EQ(wasInOrder_, false);
}

TEST_F(LaunchedProcessTest, EndIsNeverToldWithinStart) {
    const auto sut = Start({"exit", "0"});
    EXPECT_THAT(ends_, IsEmpty());
    AwaitEnd();
}

TEST_F(LaunchedProcessTest, AllOutputComesBeforeTheEnd) {
    std::string text;
    for (int i = 0; i < 10'000; ++i) {
        text += "0123456789\n";
    }
    const auto sut = Start({"print", text});
    AwaitEnd();
    EXPECT_EQ(lines_.size(), 10'000U);
}

TEST_F(LaunchedProcessTest, LastLineNeedsNoLineFeed) {
    const auto sut = Start({"print", "first\n\nlast"});
    AwaitEnd();
    EXPECT_THAT(lines_, ElementsAre("first", "", "last"));
}

TEST_F(LaunchedProcessTest, ErrorOutputIsOutput) {
    const auto sut = Start({"complain", "no\n"});
    AwaitEnd();
    EXPECT_THAT(lines_, ElementsAre("no"));
}

TEST_F(LaunchedProcessTest, EndlessLineComesInPieces) {
    const auto sut = Start({"print", std::string(100'000, 'x')});
    AwaitEnd();
    std::size_t size = 0;
    for (const std::string& line : lines_) {
        size += line.size();
    }
    EXPECT_EQ(size, 100'000U);
    EXPECT_EQ(lines_.size(), 2U);
}

TEST_F(LaunchedProcessTest, EnvironmentIsTheLaunchersWithChanges) {
    ASSERT_EQ(setenv("ORN_TEST_KEPT", "kept", 1), 0);
    ASSERT_EQ(setenv("ORN_TEST_REPLACED", "old", 1), 0);
    const std::vector<std::string> changes{"ORN_TEST_REPLACED=new", "ORN_TEST_ADDED=added"};
    for (const char* name : {"ORN_TEST_KEPT", "ORN_TEST_REPLACED", "ORN_TEST_ADDED", "ORN_TEST_NONE"}) {
        ends_.clear();
        const auto sut = Start({"environment", name}, changes);
        AwaitEnd();
    }
    EXPECT_THAT(lines_, ElementsAre("kept", "new", "added", "unset"));
}

TEST_F(LaunchedProcessTest, DescriptorsOfTheLauncherStayWithIt) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(socket, 0);
    const auto sut = Start({"descriptors"});
    AwaitEnd();
    close(socket);
    EXPECT_THAT(lines_, ElementsAre("0"));
}

TEST_F(LaunchedProcessTest, ChildLeadsAGroupOfItsOwn) {
    const auto sut = Start({"group"});
    AwaitEnd();
    EXPECT_THAT(lines_, ElementsAre("own group"));
}

TEST_F(LaunchedProcessTest, StopAsksItToEnd) {
    const auto sut = Start({"wait"});
    AwaitLine();
    EXPECT_FALSE(sut->IsStopping());
    sut->Stop(Patience);
    EXPECT_TRUE(sut->IsStopping());
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("signal 15 (Terminated)"));
    EXPECT_EQ(wasInOrder_, true);
}

TEST_F(LaunchedProcessTest, SigtermOfSomebodyElseIsNoOrderlyEnd) {
    const auto sut = Start({"wait"});
    AwaitLine();
    kill(sut->GetPid(), SIGTERM);
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("signal 15 (Terminated)"));
    EXPECT_EQ(wasInOrder_, false);
}

TEST_F(LaunchedProcessTest, ChildThatDoesNotEndInTimeIsKilled) {
    const auto sut = Start({"ignore"});
    AwaitLine();
    sut->Stop(std::chrono::milliseconds(50));
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("signal 9 (Killed), for it did not end within 0.05 s"));
    EXPECT_EQ(wasInOrder_, false);
}

TEST_F(LaunchedProcessTest, KillDoesNotAsk) {
    const auto sut = Start({"ignore"});
    AwaitLine();
    sut->Stop(Patience);
    sut->Kill();
    AwaitEnd();
    EXPECT_THAT(ends_, ElementsAre("signal 9 (Killed)"));
}

TEST_F(LaunchedProcessTest, WhatAChildLeavesBehindIsKilled) {
    const auto sut = Start({"leave"});
    AwaitEnd();
    ASSERT_EQ(lines_.size(), 1U);
    const pid_t left = std::stoi(lines_.front());
    // Where it is gone altogether, there is nothing to wait for.
    const auto handle = static_cast<int>(syscall(SYS_pidfd_open, left, 0));
    if (handle >= 0) {
        pollfd end{handle, POLLIN, 0};
        EXPECT_EQ(poll(&end, 1, std::chrono::milliseconds(Patience).count()), 1);
        close(handle);
    } else {
        EXPECT_EQ(errno, ESRCH);
    }
}

TEST_F(LaunchedProcessTest, KillAfterTheEndHitsNobody) {
    const auto sut = Start({"exit", "0"});
    AwaitEnd();
    sut->Kill();
    EXPECT_THAT(ends_, ElementsAre("exit code 0"));
    EXPECT_EQ(wasInOrder_, true);
}

TEST_F(LaunchedProcessTest, MissingProgramCannotBeStarted) {
    try {
        LaunchedProcess::Start(io_, {"/nonexistent/program", {}, {}}, {});
        FAIL();
    } catch (const boost::system::system_error& error) {
        EXPECT_STREQ(error.what(), "/nonexistent/program: No such file or directory");
    }
}

TEST_F(LaunchedProcessTest, NothingStaysOpenAfterTheEnd) {
    const auto lowestFreeDescriptor = [this] {
        ends_.clear();
        {
            const auto sut = Start({"exit", "0"});
            AwaitEnd();
        }
        io_.restart();
        io_.poll();
        const int descriptor = dup(STDIN_FILENO);
        close(descriptor);
        return descriptor;
    };
    const int before = lowestFreeDescriptor();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(lowestFreeDescriptor(), before);
    }
}

}  // namespace
