#include "RunDirectory.h"

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <fstream>

#include "TemporaryFolder.h"

namespace {

using LocalDevice::RunDirectory;
using Protocol = boost::asio::local::stream_protocol;
namespace fs = boost::filesystem;

TEST(RunDirectory, FreshOneIsForItsUserAndGoesAwayWithItsContent) {
    fs::path path;
    {
        const RunDirectory sut("");
        path = sut.GetPath();
        EXPECT_EQ(fs::status(path).permissions(), fs::owner_all);
        EXPECT_EQ(path.parent_path(), fs::temp_directory_path());
        std::ofstream(sut.Log("host1")) << "line\n";
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(RunDirectory, FreshOneWhoseLogsAreKeptLosesItsSocketsOnly) {
    fs::path path;
    {
        RunDirectory sut("");
        path = sut.GetPath();
        std::ofstream(sut.Log("host1")) << "line\n";
        std::ofstream(sut.ControlSocket(1)) << "";
        EXPECT_TRUE(sut.KeepLogs());
    }
    EXPECT_TRUE(fs::exists(path / "host1.log"));
    EXPECT_FALSE(fs::exists(path / "host1.sock"));
    fs::remove_all(path);
}

TEST(RunDirectory, FreshOneWithoutALineInItsLogsGoesAwayAllTheSame) {
    fs::path path;
    {
        RunDirectory sut("");
        path = sut.GetPath();
        std::ofstream(sut.Log("host1")) << "";
        EXPECT_FALSE(sut.KeepLogs());
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(RunDirectory, TwoFreshOnesAreDifferent) {
    const RunDirectory first("");
    const RunDirectory second("");
    EXPECT_NE(first.GetPath(), second.GetPath());
}

TEST(RunDirectory, GivenOneIsCreatedAndKeepsItsLogs) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.At("a/b");
    {
        const RunDirectory sut(path);
        std::ofstream(sut.Log("host1")) << "line\n";
        std::ofstream(sut.ControlSocket(1)) << "";
        std::ofstream(sut.ControlSocket(2)) << "";
        std::ofstream(sut.SupervisorSocket()) << "";
    }
    EXPECT_TRUE(fs::exists(path + "/host1.log"));
    EXPECT_FALSE(fs::exists(path + "/host1.sock"));
    EXPECT_FALSE(fs::exists(path + "/host2.sock"));
    EXPECT_FALSE(fs::exists(path + "/supervisor.sock"));
}

TEST(RunDirectory, FileInItsPlaceIsRefused) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("file", "");
    EXPECT_THAT([&path] { const RunDirectory sut(path); },
                testing::ThrowsMessage<std::runtime_error>(path + ": cannot be created: File exists"));
}

TEST(RunDirectory, PathThatIsTooLongForSocketsIsRefused) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.At(std::string(100, 'd'));
    EXPECT_THAT([&path] { const RunDirectory sut(path); },
                testing::ThrowsMessage<std::runtime_error>(path + ": too long a path for sockets"));
    EXPECT_FALSE(fs::exists(path));
}

TEST(RunDirectory, MissingTemporaryFolderIsNamed) {
    const char* const before = std::getenv("TMPDIR");
    const std::string kept = before == nullptr ? "" : before;
    ASSERT_EQ(setenv("TMPDIR", "/nonexistent", 1), 0);
    const std::string message = "/nonexistent: no such folder; expected one for temporary files in TMPDIR";
    EXPECT_THAT([] { const RunDirectory sut(""); }, testing::ThrowsMessage<std::runtime_error>(message));
    EXPECT_THAT([] { RunDirectory::FindRunning(); }, testing::ThrowsMessage<std::runtime_error>(message));
    ASSERT_EQ(before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1), 0);
}

TEST(RunDirectory, RelativePathWithDotsAndSlashBehindIsMadeAbsolute) {
    const TestSupport::TemporaryFolder directory;
    const fs::path root = fs::canonical(directory.At(""));
    const RunDirectory sut(directory.At("a/../b/"));
    EXPECT_EQ(sut.GetPath(), root / "b");
    EXPECT_TRUE(fs::is_directory(root / "b"));
}

TEST(RunDirectory, OneInUseIsRefusedAndLeftAlone) {
    const TestSupport::TemporaryFolder directory;
    boost::asio::io_context io;
    const Protocol::acceptor other(io, Protocol::endpoint(directory.At("supervisor.sock")));
    const std::string path = directory.At("");
    EXPECT_THAT([&path] { const RunDirectory sut(path); },
                testing::ThrowsMessage<std::runtime_error>(path + ": another local device runs here"));
    EXPECT_TRUE(LocalDevice::IsListening(directory.At("supervisor.sock")));
}

TEST(RunDirectory, RunningOnesAreFound) {
    const RunDirectory idle("");
    const RunDirectory running("");
    boost::asio::io_context io;
    const Protocol::acceptor supervisor(io, Protocol::endpoint(running.SupervisorSocket()));
    EXPECT_THAT(RunDirectory::FindRunning(), testing::Contains(running.GetPath()));
    EXPECT_THAT(RunDirectory::FindRunning(), testing::Not(testing::Contains(idle.GetPath())));
}

TEST(RunDirectory, LeavesTheDeviceStacksAddressAsLongAsItIsThere) {
    const TestSupport::TemporaryFolder directory;
    EXPECT_EQ(RunDirectory::LoadDeviceStackAddress(directory.At("")), "");
    {
        const RunDirectory sut(directory.At(""));
        sut.StoreDeviceStackAddress("127.0.0.1:4711");
        EXPECT_EQ(RunDirectory::LoadDeviceStackAddress(directory.At("")), "127.0.0.1:4711");
    }
    EXPECT_EQ(RunDirectory::LoadDeviceStackAddress(directory.At("")), "");
}

}  // namespace
