#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DeviceStackConnection.h"
#include "PrefixedLogger.h"
#include "ScriptedDeviceStack.h"
#include "SimulatedClock.h"

namespace TestSupport {

/// A connection to a scripted device stack, and the log of what uses it.
class ObjectModelFixture : public ::testing::Test {
protected:
    using Lines = std::vector<LogLine>;

    ObjectModelFixture() { identity->SetAppId("app"); }

    void Connect() {
        ASSERT_TRUE(connection.ConnectDeviceStack());
        stack.TakeRequests();
    }

    /// With a device stack that never answers, so that each request runs into a time-out of a few milliseconds.
    void ConnectToDeafDeviceStack() {
        stack.Ignore("");
        ASSERT_FALSE(impatientConnection.ConnectDeviceStack());
        stack.TakeRequests();
    }

    LogCapture log{"ObjectModel"};
    LogCapture connectionLog{"Connection"};
    ScriptedDeviceStack stack;
    const std::shared_ptr<Zandrel::AppIdentity> identity = std::make_shared<Zandrel::AppIdentity>();
    const Zandrel::PrefixedLogger logger{log.GetLogger(), identity};
    Zandrel::DeviceStackConnection connection = MakeConnection(Zandrel::ConnectionTimes{});
    Zandrel::DeviceStackConnection impatientConnection = MakeConnection(
        {boost::chrono::milliseconds(5), boost::chrono::milliseconds(5), boost::chrono::milliseconds(5)});

private:
    Zandrel::DeviceStackConnection MakeConnection(Zandrel::ConnectionTimes times) {
        return {Zandrel::PrefixedLogger(connectionLog.GetLogger(), identity), std::make_shared<SimulatedClock>(),
                stack.GetFactory(), times};
    }
};

}  // namespace TestSupport
