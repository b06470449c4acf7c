#include "DeviceResetActions.h"

#include <gtest/gtest.h>

#include <memory>

#include "AppHostProcessControl.h"
#include "AppSideTools.h"
#include "CapturingAppender.h"
#include "ScopedEnvironment.h"
#include "SupervisorSocket.h"

namespace {

class DeviceResetActions : public testing::Test {
protected:
    TestSupport::GlobalLogCapture log_;
    TestSupport::SupervisorSocket supervisor_;
    const TestSupport::ScopedEnvironment variable_{"ORN_SUPERVISOR", supervisor_.GetPath().c_str()};
    Zandrel::AppHostProcessControl processControl_{log_.GetLogger(), std::make_shared<Zandrel::Clock>()};
    const Zandrel::DeviceResetTimer::Actions sut_ = Zandrel::MakeDeviceResetActions(processControl_);
};

TEST_F(DeviceResetActions, RestartIsAskedOfTheSupervisorAndKeepsTheSettings) {
    supervisor_.Listen();

    sut_.restart();

    EXPECT_EQ(supervisor_.Receive(), "{\"request\":\"restart\",\"factoryReset\":false,\"from\":13,\"to\":2}\n");
}

TEST_F(DeviceResetActions, DebugModeIsThatOfTheAppHostsConfiguration) {
    EXPECT_FALSE(sut_.isInAppDebugMode());

    processControl_.GetConfiguration().ReplaceAppDebugMode(true);
    EXPECT_TRUE(sut_.isInAppDebugMode());

    // The switch of the connector host alone is another one.
    processControl_.GetConfiguration().ReplaceAppDebugMode(false);
    processControl_.GetConfiguration().SetAppConnectorHostStartupDisabled(true);
    EXPECT_FALSE(sut_.isInAppDebugMode());
}

}  // namespace
