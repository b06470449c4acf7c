#include "ChildProcess.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <system_error>

namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;
using testing::Optional;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;

constexpr const char* Shell = "/bin/sh";

/// False also for a process that was killed and that whoever inherited it has not reaped yet.
bool Runs(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    return file >> number >> name >> state && state != "Z" && state != "X";
}

TEST(ChildProcessTest, CapturesBothOutputsLineByLine) {
    ChildProcess sut(Shell, {"-c", "echo one; printf 'two\\n\\nlast'; echo wrong >&2"});
    ASSERT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(0)));
    EXPECT_THAT(sut.GetOutputLines(), ElementsAre("one", "two", "", "last"));
    EXPECT_THAT(sut.GetErrorLines(), ElementsAre("wrong"));
}

TEST(ChildProcessTest, FindsALineThatComesLater) {
    ChildProcess sut(Shell, {"-c", "sleep 0.05; echo ready on port 7; sleep 100"});
    EXPECT_THAT(sut.WaitForLine("ready"), Optional(Eq("ready on port 7")));
}

TEST(ChildProcessTest, StopsWaitingForALineWhenTheProgramHasEnded) {
    ChildProcess sut(Shell, {"-c", "echo other"});
    EXPECT_EQ(sut.WaitForLine("ready"), std::nullopt);
}

TEST(ChildProcessTest, StopsWaitingForALineAtTheLimit) {
    ChildProcess sut(Shell, {"-c", "sleep 100"});
    EXPECT_EQ(sut.WaitForLine("ready", std::chrono::milliseconds(20)), std::nullopt);
}

TEST(ChildProcessTest, PutsTheEnvironmentOverItsOwn) {
    ChildProcess sut(Shell, {"-c", "echo $HOME $ORN_TEST"}, {{"HOME", "here"}, {"ORN_TEST", "a=b"}});
    ASSERT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(0)));
    EXPECT_THAT(sut.GetOutputLines(), ElementsAre("here a=b"));
}

TEST(ChildProcessTest, TellsTheExitCode) {
    ChildProcess sut(Shell, {"-c", "exit 3"});
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(3)));
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(3)));
}

TEST(ChildProcessTest, TellsTheSignalThatEndedIt) {
    ChildProcess sut(Shell, {"-c", "echo up; exec sleep 100"});
    ASSERT_TRUE(sut.WaitForLine("up"));
    EXPECT_TRUE(sut.Signal(SIGTERM));
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Killed(SIGTERM)));
    EXPECT_FALSE(sut.Signal(SIGTERM));
}

TEST(ChildProcessTest, StopsWaitingForTheEndAtTheLimit) {
    ChildProcess sut(Shell, {"-c", "sleep 100"});
    EXPECT_EQ(sut.WaitForExit(std::chrono::milliseconds(20)), std::nullopt);
}

TEST(ChildProcessTest, HasAnEmptyInput) {
    ChildProcess sut("/bin/cat");
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(0)));
    EXPECT_THAT(sut.GetOutputLines(), IsEmpty());
}

TEST(ChildProcessTest, LeavesNeitherProgramNorGrandchild) {
    pid_t grandchild = 0;
    pid_t child = 0;
    {
        ChildProcess sut(Shell, {"-c", "trap '' TERM; sleep 100 & echo started $!; wait"});
        const std::optional<std::string> line = sut.WaitForLine("started ");
        ASSERT_TRUE(line);
        child = sut.GetPid();
        grandchild = std::stoi(line->substr(line->find(' ')));
        ASSERT_TRUE(Runs(grandchild));
    }
    EXPECT_EQ(kill(child, 0), -1);
    for (int tries = 0; Runs(grandchild) && tries < 1000; ++tries) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(2));
    }
    EXPECT_FALSE(Runs(grandchild));
}

TEST(ChildProcessTest, RefusesAProgramThatIsNotThere) {
    EXPECT_THROW(ChildProcess("/nowhere/program"), std::system_error);
}

}  // namespace
