#include <gtest/gtest.h>

#include "Knxd.h"

namespace {

using EndToEnd::BusListener;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::Knxd;
using EndToEnd::Milliseconds;
using EndToEnd::StairLightSerialNumber;
using EndToEnd::WaitUntil;

/// The stair light on a bus behind a real knxd, and knxd's own tools as the other participants.
class KnxdTest : public testing::Test {
protected:
    KnxdTest() {
        Host::Options options;
        options.device = EndToEnd::SampleDevice("stairlight");
        options.deviceStackAddress = deviceStack_.GetAddress();
        options.bus = knxd_.GetBus();
        host_ = std::make_unique<Host>(options);
    }

    void SetUp() override { ASSERT_TRUE(host_->WaitForRunState("running")); }

    void PressButton() { knxd_.Write("1/0/1", "1"); }

    Knxd knxd_;
    DeviceStack deviceStack_{{StairLightSerialNumber}};
    std::unique_ptr<Host> host_;
};

TEST_F(KnxdTest, ListenerHearsTheAppsAnswer) {
    const BusListener listener(knxd_);

    PressButton();

    EXPECT_TRUE(listener.WaitFor("1/0/2", 1));
}

TEST_F(KnxdTest, ReadIsAnsweredOnlyByACoThatHoldsAValue) {
    knxd_.Read("1/0/2");
    EndToEnd::TelegramMonitor monitor(*host_);
    EXPECT_FALSE(monitor.NextSent("1/0/2", Milliseconds(500)).has_value());

    PressButton();
    ASSERT_EQ(monitor.NextSent("1/0/2"), "1");
    knxd_.Read("1/0/2");
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
}

TEST_F(KnxdTest, BusThatWentAwayIsFoundAgainAndValuesFlow) {
    knxd_.Kill();
    ASSERT_TRUE(WaitUntil([this] { return !host_->GetStatus().at("busConnected").get<bool>(); }));

    knxd_.Start();

    ASSERT_TRUE(WaitUntil([this] { return host_->GetStatus().at("busConnected").get<bool>(); }));
    EndToEnd::TelegramMonitor monitor(*host_);
    PressButton();
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
    EXPECT_TRUE(host_->Stop());
}

}  // namespace
