#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::Milliseconds;
using EndToEnd::WaitUntil;
using TestSupport::ExitStatus;

/// The stair light on a bus behind a real knxd, and knxd's own tools as the other participants.
class Knxd : public testing::Test {
protected:
    void StartKnxd() {
        boost::filesystem::remove(socket_);
        knxd_ = std::make_unique<ChildProcess>(
            KNXD_PROGRAM, std::vector<std::string>{"-e", "1.1.1", "-E", "1.1.2:20", "-u", socket_, "-b", "dummy:"});
        ASSERT_TRUE(WaitUntil([this] { return boost::filesystem::exists(socket_); }));
    }

    void StartDevice() {
        Host::Options options;
        options.device = EndToEnd::SampleDevice("stairlight");
        options.deviceStackAddress = deviceStack_.GetAddress();
        options.bus = "knxd:local:" + socket_;
        host_ = std::make_unique<Host>(options);
        ASSERT_TRUE(host_->WaitForRunState("running"));
    }

    std::unique_ptr<ChildProcess> KnxTool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 1, "local:" + socket_);
        return std::make_unique<ChildProcess>(KNXTOOL_PROGRAM, arguments);
    }

    void PressButton() { EXPECT_EQ(KnxTool({"groupswrite", "1/0/1", "1"})->WaitForExit(), ExitStatus::Exited(0)); }

    EndToEnd::TemporaryFolder folder_;
    const std::string socket_ = folder_.At("eib");
    std::unique_ptr<ChildProcess> knxd_;
    DeviceStack deviceStack_{{"000000010001"}};
    std::unique_ptr<Host> host_;
};

TEST_F(Knxd, ListenerHearsTheAppsAnswer) {
    StartKnxd();
    StartDevice();
    const auto listener = KnxTool({"groupsocketlisten"});
    // The listener hears nothing before it is connected: the button is pressed until it has.
    EXPECT_TRUE(WaitUntil([this, &listener] {
        PressButton();
        return listener->WaitForLine("to 1/0/2", Milliseconds(200)).has_value();
    }));
    EXPECT_TRUE(WaitUntil([&listener] { return listener->WaitForLine("1/0/2", Milliseconds(100)).has_value(); }));
}

TEST_F(Knxd, ReadIsAnsweredOnlyByACoThatHoldsAValue) {
    StartKnxd();
    StartDevice();
    const auto silent = KnxTool({"groupread", "1/0/2"});
    EXPECT_TRUE(silent->WaitForExit().has_value());
    EndToEnd::TelegramMonitor monitor(*host_);
    EXPECT_FALSE(monitor.NextSent("1/0/2", Milliseconds(500)).has_value());

    PressButton();
    ASSERT_EQ(monitor.NextSent("1/0/2"), "1");
    EXPECT_EQ(KnxTool({"groupread", "1/0/2"})->WaitForExit(), ExitStatus::Exited(0));
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
}

TEST_F(Knxd, BusThatWentAwayIsFoundAgainAndValuesFlow) {
    StartKnxd();
    StartDevice();
    knxd_->Signal(SIGKILL);
    ASSERT_TRUE(knxd_->WaitForExit().has_value());
    ASSERT_TRUE(WaitUntil([this] { return !host_->GetStatus().at("busConnected").get<bool>(); }));

    StartKnxd();

    ASSERT_TRUE(WaitUntil([this] { return host_->GetStatus().at("busConnected").get<bool>(); }));
    EndToEnd::TelegramMonitor monitor(*host_);
    PressButton();
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
    EXPECT_TRUE(host_->Stop());
}

}  // namespace
