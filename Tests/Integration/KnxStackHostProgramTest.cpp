#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/filesystem/operations.hpp>
#include <climits>
#include <csignal>
#include <optional>

#include "ChildProcess.h"
#include "ClosedStreams.h"
#include "TemporaryFolder.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;

constexpr const char* Device = ORN_DEVICES_DIRECTORY "/stairlight.json";

std::string Plugin(const std::string& name) {
    return std::string(TEST_PLUGIN_FOLDER) + "/lib" + name + ".so";
}

/// A named pipe that takes what a program writes for as long as somebody reads it.
class NamedPipe {
public:
    explicit NamedPipe(const std::string& path)
        : isMade_(mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0),
          descriptor_(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {}
    ~NamedPipe() { close(descriptor_); }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    bool IsOpen() const { return isMade_ && descriptor_ != -1; }

    /// Reads until `part` has come. False where nothing comes for too long.
    bool ReadUntil(const std::string& part) {
        std::string text;
        std::array<char, PIPE_BUF> buffer{};
        while (text.find(part) == std::string::npos) {
            pollfd readable{descriptor_, POLLIN, 0};
            if (poll(&readable, 1, static_cast<int>(ChildProcess::DefaultLimit.count())) != 1) {
                return false;
            }
            const ssize_t size = read(descriptor_, buffer.data(), buffer.size());
            text.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        }
        return true;
    }

    /// From now on who writes waits for a reader.
    void Fill() {
        const std::array<char, PIPE_BUF> page{};
        while (write(descriptor_, page.data(), page.size()) > 0) {
        }
    }

private:
    const bool isMade_;
    const int descriptor_;
};

class KnxStackHostProgramTest : public testing::Test {
protected:
    /// Runs the program until it ends by itself; checks that it says one line, and gives it.
    static std::string GetErrorOf(const std::vector<std::string>& arguments, int code) {
        ChildProcess sut(KNXSTACKHOST_PROGRAM, arguments);
        EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(code));
        const auto lines = sut.GetErrorLines();
        EXPECT_EQ(lines.size(), 1U);
        return lines.empty() ? "" : lines.front();
    }

    /// Runs the program with its outputs redirected to a pipe, $OUTPUT, that nobody reads from the start of the
    /// application on, and ends it with signals: two that come at the same time are one. Gives its error lines.
    std::vector<std::string> GetErrorsOfHardEnd(const std::string& redirection) {
        NamedPipe output(folder.At("output"));
        EXPECT_TRUE(output.IsOpen());
        ChildProcess sut("/bin/sh",
                         {"-c", R"(exec "$0" "$@" )" + redirection, KNXSTACKHOST_PROGRAM, "--device", Device,
                          "--library", Plugin("GoodPlugin")},
                         {{"OUTPUT", folder.At("output")}});
        EXPECT_TRUE(output.ReadUntil("Init returned 2"));
        output.Fill();
        SignalUntilItEndsHard(sut);
        return sut.GetErrorLines();
    }
    static void SignalUntilItEndsHard(ChildProcess& sut) {
        constexpr int MostSignals = 50;
        std::optional<ExitStatus> status;
        for (int i = 0; i < MostSignals && !status && sut.Signal(SIGTERM); ++i) {
            status = sut.WaitForExit(ChildProcess::Milliseconds(100));
        }
        EXPECT_EQ(status, ExitStatus::Exited(1));
    }

    const TestSupport::TemporaryFolder folder;
    const std::string control = (folder.GetPath() / "control").string();
};

TEST_F(KnxStackHostProgramTest, EachFailureToStartHasItsLineAndItsExitCode) {
    const std::string plugin = Plugin("GoodPlugin");
    EXPECT_EQ(GetErrorOf({}, 2), "knxstackhost: --device is missing; expected the file of a device description");
    EXPECT_THAT(GetErrorOf({"--device", Device, "--library", "/nowhere.so"}, 3),
                StartsWith("knxstackhost: /nowhere.so: cannot be loaded ("));
    EXPECT_EQ(GetErrorOf({"--device", Device, "--library", Plugin("PluginOfVersion9")}, 3),
              "knxstackhost: " + Plugin("PluginOfVersion9") + ": getKnxStackApiVersion() is 9; expected 10");
    EXPECT_THAT(GetErrorOf({"--device", "/nowhere.json", "--library", plugin}, 4), HasSubstr("/nowhere.json"));
    EXPECT_EQ(GetErrorOf({"--device", Device, "--library", plugin, "--quiet", "--bus", "knxd:local:/nowhere"}, 5),
              "knxstackhost: no knxd at local:/nowhere: No such file or directory");
    EXPECT_THAT(GetErrorOf({"--device", Device, "--library", plugin, "--quiet", "--control", "/nowhere/control"}, 6),
                StartsWith("knxstackhost: /nowhere/control: the control socket cannot be made"));
    EXPECT_THAT(GetErrorOf({"--device", Device, "--library", plugin, "--quiet", "--log", "/nowhere/log"}, 1),
                StartsWith("knxstackhost: /nowhere/log: the log cannot be written"));
    EXPECT_THAT(GetErrorOf({"--device", "/nowhere\n\x1b[2J", "--library", plugin}, 4),
                HasSubstr(R"(/nowhere\n\u001b[2J)"));
}

TEST_F(KnxStackHostProgramTest, ThreadsThatRunShortAnywhereInTheStartEndItWithOneLine) {
    constexpr int Most = 100;  // it starts with fewer
    int failures = 0;
    for (; failures < Most; ++failures) {
        ChildProcess sut(KNXSTACKHOST_WITH_FEW_THREADS,
                         {"--device", Device, "--library", Plugin("GoodPlugin"), "--control", control},
                         {{"ORN_TEST_THREADS", std::to_string(failures)}});
        if (sut.WaitForLine("Init returned 2")) {
            break;
        }
        ASSERT_EQ(sut.WaitForExit(), ExitStatus::Exited(1)) << "with " << failures << " threads";
        EXPECT_THAT(sut.GetErrorLines(),
                    ElementsAre("knxstackhost: no thread can be started: Resource temporarily unavailable"));
        EXPECT_FALSE(boost::filesystem::exists(control));
    }
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, Most);
}

TEST_F(KnxStackHostProgramTest, HelpEndsWithSuccess) {
    ChildProcess sut(KNXSTACKHOST_PROGRAM, {"--help"});
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_TRUE(sut.WaitForLine("Exit codes:"));
}

TEST_F(KnxStackHostProgramTest, ASignalEndsTheProgramInOrder) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ChildProcess sut(KNXSTACKHOST_PROGRAM,
                         {"--device", Device, "--library", Plugin("GoodPlugin"), "--control", control});
        ASSERT_TRUE(sut.WaitForLine("KNX stack host: Stair light, app StairLight, 1.1.10, 4 group objects"));
        ASSERT_TRUE(sut.WaitForLine("Init returned 2"));
        EXPECT_TRUE(boost::filesystem::exists(control));
        ASSERT_TRUE(sut.Signal(signal));
        EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(0));
        EXPECT_TRUE(sut.WaitForLine("Exit returned 1"));
        EXPECT_FALSE(boost::filesystem::exists(control));
        EXPECT_TRUE(sut.GetErrorLines().empty());
    }
}

TEST_F(KnxStackHostProgramTest, ASecondSignalEndsItHard) {
    ChildProcess sut(KNXSTACKHOST_PROGRAM, {"--device", Device, "--library", Plugin("HangingPlugin")});
    ASSERT_TRUE(sut.WaitForLine("Init returned 2"));
    ASSERT_TRUE(sut.Signal(SIGTERM));
    ASSERT_TRUE(sut.WaitForLine("ending"));
    SignalUntilItEndsHard(sut);
    EXPECT_THAT(sut.GetErrorLines(), ElementsAre("knxstackhost: ended hard by a second signal"));
}

TEST_F(KnxStackHostProgramTest, SignalsThatComeTogetherAreOne) {
    ChildProcess sut(KNXSTACKHOST_PROGRAM, {"--device", Device, "--library", Plugin("HangingPlugin")});
    ASSERT_TRUE(sut.WaitForLine("Init returned 2"));
    ASSERT_TRUE(sut.Signal(SIGTERM));
    ASSERT_TRUE(sut.Signal(SIGINT));
    EXPECT_FALSE(sut.WaitForExit(ChildProcess::Milliseconds(300)));
    SignalUntilItEndsHard(sut);
}

TEST_F(KnxStackHostProgramTest, ASecondSignalEndsItHardThoughNobodyReadsItsOutput) {
    EXPECT_THAT(GetErrorsOfHardEnd(R"(>"$OUTPUT")"), ElementsAre("knxstackhost: ended hard by a second signal"));
}

TEST_F(KnxStackHostProgramTest, ASecondSignalEndsItHardThoughNobodyReadsAnythingOfIt) {
    EXPECT_THAT(GetErrorsOfHardEnd(R"(>"$OUTPUT" 2>&1)"), IsEmpty());
}

TEST_F(KnxStackHostProgramTest, NoDescriptorOfItsOwnTakesThePlaceOfAClosedStream) {
    EXPECT_THAT(TestSupport::GetStreamsOfClosedOnes(
                    {KNXSTACKHOST_PROGRAM, "--device", Device, "--library", Plugin("GoodPlugin"), "--control", control},
                    control),
                Each("/dev/null"));
}

TEST_F(KnxStackHostProgramTest, QuietMeansSilentAndNoTerminalMeansNoColours) {
    ChildProcess quiet(KNXSTACKHOST_PROGRAM,
                       {"--device", Device, "--library", Plugin("GoodPlugin"), "--quiet", "--control", control});
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    boost::system::error_code error = boost::asio::error::not_found;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (error && std::chrono::steady_clock::now() < end) {
        socket.close();
        socket.connect(control, error);
    }
    EXPECT_FALSE(error);
    ASSERT_TRUE(quiet.Signal(SIGTERM));
    EXPECT_EQ(quiet.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_TRUE(quiet.GetOutputLines().empty());

    ChildProcess loud(KNXSTACKHOST_PROGRAM, {"--device", Device, "--library", Plugin("GoodPlugin")});
    ASSERT_TRUE(loud.WaitForLine("Init returned 2"));
    ASSERT_TRUE(loud.Signal(SIGTERM));
    EXPECT_EQ(loud.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_THAT(loud.GetOutputLines(), Each(testing::Not(HasSubstr("\x1b"))));
}

}  // namespace
