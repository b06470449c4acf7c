#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ScopedEnvironment.h"
#include "SupervisorSocket.h"
#include "Zandrel/OrnIpcClientImpl.h"

namespace {

using TestSupport::LogLine;
using TestSupport::ScopedEnvironment;
using Zandrel::OrnIpcClientImpl;

constexpr int OwnProcess = 13;
constexpr int SupervisorProcess = 2;

class IpcClient : public testing::Test {
protected:
    TestSupport::GlobalLogCapture log;
    TestSupport::SupervisorSocket supervisor_;
};

TEST_F(IpcClient, AsksForARestart) {
    supervisor_.Listen();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", supervisor_.GetPath().c_str());
    OrnIpcClientImpl sut(OwnProcess, SupervisorProcess);
    sut.Restart(false);
    EXPECT_EQ(supervisor_.Receive(), "{\"request\":\"restart\",\"factoryReset\":false,\"from\":13,\"to\":2}\n");
    sut.Restart(true);
    EXPECT_EQ(supervisor_.Receive(), "{\"request\":\"restart\",\"factoryReset\":true,\"from\":13,\"to\":2}\n");
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
}

TEST_F(IpcClient, SwitchesTheRunLedOff) {
    supervisor_.Listen();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", supervisor_.GetPath().c_str());
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).SetRunLedOff();
    EXPECT_EQ(supervisor_.Receive(), "{\"request\":\"runLedOff\",\"from\":13,\"to\":2}\n");
}

TEST_F(IpcClient, SaysThatNobodyListens) {
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", supervisor_.GetPath().c_str());
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).Restart(false);
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"ERROR", "Supervisor at '" + supervisor_.GetPath() +
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
    supervisor_.Listen(0);
    const auto first = supervisor_.Connect();
    const ScopedEnvironment supervisor("ORN_SUPERVISOR", supervisor_.GetPath().c_str());
    const auto start = std::chrono::steady_clock::now();
    OrnIpcClientImpl(OwnProcess, SupervisorProcess).Restart(false);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"ERROR", "Supervisor at '" + supervisor_.GetPath() +
                                                  "' cannot be reached: Resource temporarily unavailable "
                                                  "(generic:11)"}}));
}

}  // namespace
