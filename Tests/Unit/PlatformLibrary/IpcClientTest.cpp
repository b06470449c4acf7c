#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ScopedEnvironment.h"
#include "Zandrel/OrnIpcClientImpl.h"

namespace {

using TestSupport::LogLine;
using Zandrel::OrnIpcClientImpl;
using Protocol = boost::asio::local::stream_protocol;

constexpr int OwnProcess = 13;
constexpr int SupervisorProcess = 2;

class IpcClient : public testing::Test {
public:
    IpcClient() : folder_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("orn-%%%%%%%%")) {
        boost::filesystem::create_directory(folder_);
    }
    ~IpcClient() override {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(folder_, ignored);
    }
    IpcClient(const IpcClient&) = delete;
    IpcClient& operator=(const IpcClient&) = delete;

protected:
    std::string GetPath() const { return (folder_ / "supervisor").string(); }

    void Listen(int backlog = 8) {
        acceptor_.emplace(context_);
        acceptor_->open();
        acceptor_->bind(Protocol::endpoint(GetPath()));
        acceptor_->listen(backlog);
    }
    /// Everything that the next client sends before it closes the connection.
    std::string Receive() {
        Protocol::socket socket(context_);
        acceptor_->accept(socket);
        std::string text;
        boost::system::error_code end;
        boost::asio::read(socket, boost::asio::dynamic_buffer(text), end);
        EXPECT_EQ(end, boost::asio::error::eof);
        return text;
    }
    Protocol::socket ConnectAnother() {
        Protocol::socket socket(context_);
        socket.connect(Protocol::endpoint(GetPath()));
        return socket;
    }

    TestSupport::GlobalLogCapture log;

private:
    boost::filesystem::path folder_;
    boost::asio::io_context context_;
    std::optional<Protocol::acceptor> acceptor_;
};

TEST_F(IpcClient, AsksForARestart) {
    Listen();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", GetPath().c_str());
    OrnIpcClientImpl sut(OwnProcess, SupervisorProcess);
    sut.Restart(false);
    EXPECT_EQ(Receive(), "{\"request\":\"restart\",\"factoryReset\":false,\"from\":13,\"to\":2}\n");
    sut.Restart(true);
    EXPECT_EQ(Receive(), "{\"request\":\"restart\",\"factoryReset\":true,\"from\":13,\"to\":2}\n");
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
}

TEST_F(IpcClient, SwitchesTheRunLedOff) {
    Listen();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", GetPath().c_str());
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).SetRunLedOff();
    EXPECT_EQ(Receive(), "{\"request\":\"runLedOff\",\"from\":13,\"to\":2}\n");
}

TEST_F(IpcClient, SaysThatNobodyListens) {
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", GetPath().c_str());
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).Restart(false);
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"ERROR", "Supervisor at '" + GetPath() +
                                                  "' cannot be reached: No such file or directory (generic:2)"}}));
}

TEST_F(IpcClient, SaysThatNoSupervisorIsNamed) {
    for (const char* const path : {static_cast<const char*>(nullptr), ""}) {
        const ScopedEnvironment supervisor("ORN_SUPERVISOR", path);
        OrnIpcClientImpl(OwnProcess, SupervisorProcess).SetRunLedOff();
        EXPECT_EQ(log.TakeLines(), (std::vector<LogLine>{{"ERROR", "No supervisor: ORN_SUPERVISOR names no socket."}}));
    }
}

TEST_F(IpcClient, RefusesAPathThatIsTooLong) {
    const std::string path(108, 'x');
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", path.c_str());
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).Restart(false);
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{
                  {"ERROR", "Supervisor at '" + path + "' cannot be reached: File name too long (generic:36)"}}));
}

TEST_F(IpcClient, DoesNotWaitLongForABusySupervisor) {
    Listen(0);
    const auto first = ConnectAnother();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", GetPath().c_str());
    const auto start = std::chrono::steady_clock::now();
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).Restart(false);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"ERROR", "Supervisor at '" + GetPath() +
                                                  "' cannot be reached: Resource temporarily unavailable "
                                                  "(generic:11)"}}));
}

}  // namespace
