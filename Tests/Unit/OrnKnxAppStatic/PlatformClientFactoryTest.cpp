#include <gtest/gtest.h>

#include "CapturingAppender.h"
#include "DeviceStackConnection.h"
#include "FakeDeviceStack.h"
#include "ScopedEnvironment.h"

namespace {

using TestSupport::FakeDeviceStack;
using TestSupport::ScopedEnvironment;

/// A device stack on this device and another one elsewhere.
class PlatformClientFactory : public testing::Test {
protected:
    /// Lets a client for `address` send something, and ends it.
    void SendTo(const std::string& address) {
        Ostra::IDeviceStackClient* const client = sut_.create(address);
        ASSERT_NE(client, nullptr);
        EXPECT_TRUE(client->Send("Hello"));
        sut_.release(client);
    }

    const TestSupport::GlobalLogCapture log_;
    FakeDeviceStack local_;
    FakeDeviceStack remote_;
    const ScopedEnvironment environment_{"ORN_DEVICE_STACK", local_.GetAddress().c_str()};
    const Zandrel::ClientFactory sut_ = Zandrel::PlatformClientFactory();
};

TEST_F(PlatformClientFactory, ConnectsWithTheLocalDeviceStackWithoutAnAddress) {
    SendTo("");

    EXPECT_EQ(local_.NextFrame(), "Hello");
    EXPECT_TRUE(local_.AwaitProperClose());
}

TEST_F(PlatformClientFactory, ConnectsWithTheAddress) {
    SendTo(remote_.GetAddress());

    EXPECT_EQ(remote_.NextFrame(), "Hello");
    EXPECT_TRUE(remote_.AwaitProperClose());
}

TEST_F(PlatformClientFactory, MakesNoClientForAnAddressWhereNobodyListens) {
    const std::string address = remote_.GetAddress();
    remote_.StopListening();

    EXPECT_EQ(sut_.create(address), nullptr);
}

}  // namespace
