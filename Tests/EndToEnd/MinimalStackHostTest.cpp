#include <gtest/gtest.h>

#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DeviceStack;
using TestSupport::ExitStatus;

/// The plug-in at a stack host that shares nothing with the local device's but the platform's headers.
class MinimalStackHost : public testing::Test {
protected:
    void Run(const std::vector<std::string>& steps) {
        std::vector<std::string> arguments{ORN_PLUGIN_LIBRARY,      "--app-id=Copy",   "--app-type=0",
                                           "--serial=000000010002", "--object=1:12.1", "--object=2:12.1"};
        arguments.insert(arguments.end(), steps.begin(), steps.end());
        ChildProcess host(ORN_MINIMALSTACKHOST_PROGRAM, arguments,
                          {{"ORN_DEVICE_STACK", deviceStack_.GetAddress()}, {"ORN_SUPERVISOR", folder_.At("none")}});
        const auto status = host.WaitForExit(EndToEnd::Limit);
        ASSERT_TRUE(status.has_value());
        std::string output;
        for (const auto& lines : {host.GetOutputLines(), host.GetErrorLines()}) {
            for (const std::string& line : lines) {
                output.append(line).append("\n");
            }
        }
        EXPECT_EQ(*status, ExitStatus::Exited(0)) << output;
        EXPECT_NE(output.find("done"), std::string::npos) << output;
    }

    EndToEnd::TemporaryFolder folder_;
    DeviceStack deviceStack_{{"000000010002"}};
};

TEST_F(MinimalStackHost, PassesTheLifeCycle) {
    // One restart: a second one could come before the cycle of the first has ended, and would be a duplicate.
    Run({"create", "init", "wait-running", "restart", "wait-running", "exit", "delete"});
}

TEST_F(MinimalStackHost, CarriesValuesToTheAppAndBack) {
    Run({"create", "init", "wait-running", "write=1:00001267", "expect=2:00001267", "read=2:00001267", "exit",
         "delete"});
}

TEST_F(MinimalStackHost, MayDeleteWithoutHavingInitialised) {
    Run({"create", "delete"});
    Run({"create", "exit", "delete"});
}

}  // namespace
