#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "LocalDevice.h"
#include "LogFollower.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::LogFollower;
using EndToEnd::LogicalDevice1;
using EndToEnd::StairLightSerialNumber;
using EndToEnd::TelegramMonitor;
using EndToEnd::WaitUntil;

constexpr const char* Greeting = "1/0/4";  ///< which the stair light shows all the time

/// One of two devices that have a device stack, an input and an output address in common, and nothing else. What its
/// app answers to a value at the input tells which of the two it is.
struct Device {
    Device(const std::string& name, const DeviceStack& deviceStack, std::string testInput)
        : host({EndToEnd::SampleDevice(name), deviceStack.GetAddress()}), input(std::move(testInput)) {}

    bool Answers() {
        TelegramMonitor monitor(host);
        // A lamp that is on shows nothing before it goes out.
        return WaitUntil([this, &monitor] {
            host.Write("1/0/1", input);
            return monitor.NextSent("1/0/2") == input;
        });
    }

    Host host;
    const std::string input;
};

/// What a device shows of its life: each restart and each end of the app changes it.
json GetLife(Host& host) {
    const json status = host.GetStatus();
    return {{"appHosts", host.GetAppHosts()},
            {"cycles", status.at("cycles")},
            {"restarts", status.at("restarts")},
            {"runStates", status.at("runStates")},
            {"runState", status.at("runState")},
            {"started", status.at("started")},
            {"telegrams", status.at("telegrams").at("received")}};
}

/// Both directions: the parameter tells which of the two acts, while the other one must not notice.
class TwoDevices : public testing::TestWithParam<std::size_t> {
protected:
    /// Both run, and have done all that they do on their own.
    void SetUp() override {
        for (const Device& device : devices_) {
            ASSERT_TRUE(LogFollower(device.host.GetLogPath()).WaitFor("Thread finished."));
            ASSERT_TRUE(LogFollower(device.host.GetLogPath()).WaitFor("AppHost alive received."));
        }
        TelegramMonitor monitor(devices_.front().host);
        ASSERT_TRUE(monitor.NextSent(Greeting));
    }

    Device& Acting() { return devices_[GetParam()]; }
    Device& Other() { return devices_[1 - GetParam()]; }

    /// All that is published for the other device, with the values.
    json GetModelOfTheOther() const {
        const json devices = deviceStack_.GetModel().at("devices");
        const unsigned long id = (2 - GetParam()) * LogicalDevice1;
        return *std::find_if(devices.begin(), devices.end(), [id](const json& device) { return device["id"] == id; });
    }

    DeviceStack deviceStack_{{StairLightSerialNumber, "000000010002"}};
    std::array<Device, 2> devices_{{{"stairlight", deviceStack_, "1"}, {"copy", deviceStack_, "4711"}}};
};

TEST_P(TwoDevices, HearNothingOfEachOthersValues) {
    const json model = GetModelOfTheOther();
    const json life = GetLife(Other().host);
    TelegramMonitor ofTheOther(Other().host);

    EXPECT_TRUE(Acting().Answers());

    EXPECT_EQ(json::diff(model, GetModelOfTheOther()), json::array());
    EXPECT_EQ(json::diff(life, GetLife(Other().host)), json::array());
    for (const std::string& sent : ofTheOther.TakeSent()) {
        EXPECT_NE(sent.find(Greeting), std::string::npos) << sent;
    }
}

TEST_P(TwoDevices, RestartIndependently) {
    const json life = GetLife(Other().host);

    for (int restart = 0; restart < 3; ++restart) {
        ASSERT_TRUE(Acting().host.RestartAndWait());
    }

    EXPECT_EQ(json::diff(life, GetLife(Other().host)), json::array());
    EXPECT_TRUE(Other().Answers());
    ASSERT_TRUE(Acting().host.WaitForRunState("running"));
    EXPECT_TRUE(Acting().Answers());
}

TEST_P(TwoDevices, ExitIndependentlyAndComeBack) {
    const json model = GetModelOfTheOther();
    const json life = GetLife(Other().host);

    EXPECT_EQ(Acting().host.Ask({{"command", "exit"}}).at("result"), 1);

    EXPECT_EQ(Acting().host.GetAppHosts(), std::vector<pid_t>{});
    EXPECT_EQ(json::diff(model, GetModelOfTheOther()), json::array());
    EXPECT_EQ(json::diff(life, GetLife(Other().host)), json::array());
    EXPECT_TRUE(Other().Answers());
    EXPECT_EQ(Acting().host.Ask({{"command", "start"}}).at("result"), 2);
    ASSERT_TRUE(Acting().host.WaitForRunState("running"));
    EXPECT_TRUE(Acting().Answers());
    EXPECT_TRUE(Other().Answers());
    EXPECT_TRUE(Acting().host.Stop());
    EXPECT_TRUE(Other().host.Stop());
}

INSTANTIATE_TEST_SUITE_P(FirstDeviceThenSecond, TwoDevices, testing::Values(0U, 1U),
                         [](const auto& test) { return test.param == 0 ? "FirstActs" : "SecondActs"; });

}  // namespace
