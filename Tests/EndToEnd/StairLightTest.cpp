#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "LocalDevice.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::LogicalDevice1;
using EndToEnd::Milliseconds;
using EndToEnd::StairLightSerialNumber;
using EndToEnd::TelegramMonitor;
using EndToEnd::WaitUntil;

/// The description of the stair light, to be changed by a test.
json ReadStairLight() {
    std::ifstream file(EndToEnd::SampleDevice("stairlight"));
    return json::parse(file);
}

const json& FindById(const json& records, unsigned long id) {
    const auto record =
        std::find_if(records.begin(), records.end(), [id](const json& candidate) { return candidate.at("id") == id; });
    if (record == records.end()) {
        throw std::runtime_error("no record " + std::to_string(id));
    }
    return *record;
}

std::string FindMetadata(const json& record, const std::string& key) {
    for (const json& entry : record.at("metadata")) {
        if (entry.at("key") == key) {
            return entry.at("value");
        }
    }
    return "none";
}

class StairLight : public testing::Test {
protected:
    std::string WriteDescription(const json& description) {
        std::string path = folder_.At("device" + std::to_string(++descriptions_) + ".json");
        std::ofstream(path) << description;
        return path;
    }

    void Download(const std::string& file, const json& more = json::object()) {
        json command{{"command", "download"}, {"file", file}};
        command.update(more);
        const json answer = host_.Ask(command);
        ASSERT_TRUE(answer.at("ok").get<bool>()) << answer;
    }

    /// Downloads and waits until the new cycle has reported its run state.
    void DownloadAndWait(const std::string& file) {
        const auto reported = host_.GetStatus().at("runStates").get<int>();
        Download(file);
        ASSERT_TRUE(WaitUntil([this, reported] { return host_.GetStatus().at("runStates").get<int>() > reported; }));
        ASSERT_TRUE(host_.WaitForRunState("running"));
    }

    /// What is published for the logical device, without what the running app has written since.
    static json GetPublished(const DeviceStack& deviceStack) {
        json device = FindById(deviceStack.GetModel().at("devices"), LogicalDevice1);
        for (json& channel : device.at("channels")) {
            if (!channel.contains("datapoints")) {
                continue;
            }
            for (json& dataPoint : channel.at("datapoints")) {
                const bool isParameter = channel.at("id").get<unsigned long>() >= LogicalDevice1 + 20000;
                if (!isParameter) {
                    dataPoint.erase("value");
                    dataPoint.erase("internalValue");
                }
            }
        }
        return device;
    }

    EndToEnd::TemporaryFolder folder_;
    int descriptions_ = 0;
    DeviceStack deviceStack_{{StairLightSerialNumber}};
    Host host_{{EndToEnd::SampleDevice("stairlight"), deviceStack_.GetAddress()}};
};

TEST_F(StairLight, ButtonSwitchesTheLampOnAndTheRunTimeOffAgain) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    TelegramMonitor monitor(host_);

    host_.Write("1/0/3", "12.5");
    host_.Write("1/0/1", "1");

    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
    EXPECT_EQ(monitor.NextSent("1/0/2"), "0");
}

TEST_F(StairLight, LongGreetingScrolls) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    TelegramMonitor monitor(host_);

    const auto first = monitor.NextSent("1/0/4");
    const auto second = monitor.NextSent("1/0/4");

    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->size(), 14U);
    EXPECT_EQ(first->substr(1), second->substr(0, 13));
}

TEST_F(StairLight, ReadIsAnsweredOnceTheCoHasAValueAndSilentBefore) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    const json before = host_.Ask({{"command", "read"}, {"address", "1/0/2"}, {"timeoutMs", 500}});
    EXPECT_FALSE(before.at("ok").get<bool>());

    TelegramMonitor monitor(host_);
    host_.Write("1/0/1", "1");
    ASSERT_EQ(monitor.NextSent("1/0/2"), "1");
    const json after = host_.Ask({{"command", "read"}, {"address", "1/0/2"}, {"timeoutMs", 5000}});

    EXPECT_EQ(after.at("value"), "1") << after;
}

TEST_F(StairLight, TelegramOfTheWrongLengthIsRefusedAndCounted) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    const auto before = host_.GetStatus().at("telegrams").at("refused").get<int>();

    const json answer = host_.Ask({{"command", "write"}, {"address", "1/0/1"}, {"raw", "0102"}});

    ASSERT_TRUE(answer.at("ok").get<bool>()) << answer;
    EXPECT_TRUE(
        WaitUntil([this, before] { return host_.GetStatus().at("telegrams").at("refused").get<int>() == before + 1; }));
}

TEST_F(StairLight, PublishesDevicesChannelsAndAppControl) {
    ASSERT_TRUE(host_.WaitForRunState("running"));

    const json model = deviceStack_.GetModel();

    EXPECT_EQ(FindById(model.at("devices"), 1000).at("name"), "Logical KNX Device 1");
    const json& device = FindById(model.at("devices"), LogicalDevice1);
    EXPECT_EQ(device.at("name"), "StairLight");
    EXPECT_EQ(device.at("enabled"), true);
    EXPECT_EQ(FindMetadata(device, "KIM-IA"), "1.1.10");
    EXPECT_EQ(FindMetadata(device, "KIM-AIAs"), "1.1.11");
    EXPECT_EQ(device.at("channels").size(), 1U + 1U + 520U + 150U);
    const auto withPoints = std::count_if(
        device.at("channels").begin(), device.at("channels").end(),
        [](const json& channel) { return channel.contains("datapoints") && !channel.at("datapoints").empty(); });
    EXPECT_EQ(withPoints, 1 + 4 + 150) << "app control, the COs in use, the parameters";
    const auto control = std::find_if(
        device.at("channels").begin(), device.at("channels").end(),
        [](const json& channel) { return channel.contains("datapoints") && channel.at("datapoints").size() == 4; });
    ASSERT_NE(control, device.at("channels").end());
}

TEST_F(StairLight, ExitLeavesNothingRunning) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    ASSERT_EQ(host_.GetAppHosts().size(), 1U);

    EXPECT_EQ(host_.Ask({{"command", "exit"}}).at("result"), 1);

    EXPECT_TRUE(host_.GetAppHosts().empty());
    EXPECT_TRUE(host_.Stop());
}

TEST_F(StairLight, ComesBackFromTwentyRestartsWithOneAppHostAndNoMoreThreadsOrDescriptors) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    ASSERT_TRUE(host_.RestartAndWait());
    const auto before = EndToEnd::GetResources(host_.GetProcess().GetPid());

    for (int restart = 0; restart < 20; ++restart) {
        ASSERT_TRUE(host_.RestartAndWait()) << restart;
        ASSERT_TRUE(host_.WaitForRunState("running")) << restart;
        ASSERT_EQ(host_.GetAppHosts().size(), 1U) << restart;
    }

    EXPECT_TRUE(WaitUntil([this, &before] {
        const auto now = EndToEnd::GetResources(host_.GetProcess().GetPid());
        return now.threads <= before.threads && now.descriptors <= before.descriptors;
    }));
    EXPECT_TRUE(host_.Stop());
}

TEST_F(StairLight, ComesBackFromTwentyRestartsWhileALaunchIsUnderWay) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    for (int restart = 0; restart < 20; ++restart) {
        EXPECT_EQ(host_.Ask({{"command", "restart"}}).at("result"), 2) << restart;
        // A different point of the cycle each time: from before its first step to after the app runs.
        std::this_thread::sleep_for(Milliseconds(restart * 7));
    }

    EXPECT_TRUE(host_.RestartAndWait());
    EXPECT_TRUE(host_.WaitForRunState("running"));
    EXPECT_TRUE(WaitUntil([this] { return host_.GetAppHosts().size() == 1; }));
    TelegramMonitor monitor(host_);
    host_.Write("1/0/1", "1");
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
    EXPECT_TRUE(host_.Stop());
}

TEST_F(StairLight, ThreeDownloadsWhileTheAppRunsPublishWhatAFreshStartDoes) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    std::string file;
    for (int download = 1; download <= 3; ++download) {
        json description = ReadStairLight();
        description["parameters"]["text"]["1"] = "Hello " + std::to_string(download);
        description["communicationObjects"].erase(2);  // the brightness
        file = WriteDescription(description);
        TelegramMonitor monitor(host_);

        DownloadAndWait(file);

        const std::string text = "Hello " + std::to_string(download);
        auto sent = monitor.NextSent("1/0/4");
        while (sent && sent != text) {
            sent = monitor.NextSent("1/0/4");  // the text before the download went on, or came once more
        }
        EXPECT_EQ(sent, text);
        const json device = GetPublished(deviceStack_);
        const json& brightness = FindById(device.at("channels"), LogicalDevice1 + 10030);
        EXPECT_EQ(brightness.at("enabled"), false);
        EXPECT_FALSE(brightness.contains("datapoints") && !brightness.at("datapoints").empty());
        EXPECT_EQ(FindMetadata(device, "KIM-AIAs"), "1.1.11");
        // The restart that follows a download may find the app up already, and starts it once more.
        EXPECT_TRUE(WaitUntil([this] { return host_.GetAppHosts().size() == 1; }));
    }

    const DeviceStack fresh({StairLightSerialNumber});
    Host freshHost({file, fresh.GetAddress()});
    ASSERT_TRUE(freshHost.WaitForRunState("running"));
    EXPECT_EQ(json::diff(GetPublished(fresh), GetPublished(deviceStack_)), json::array());
}

TEST_F(StairLight, DownloadCausesNoTelegramThatNeitherAppNorBusCaused) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    json description = ReadStairLight();
    description["parameters"]["text"]["1"] = "Hello";
    const std::string file = WriteDescription(description);
    DownloadAndWait(file);
    TelegramMonitor monitor(host_);

    DownloadAndWait(file);
    ASSERT_EQ(monitor.NextSent("1/0/4"), "Hello");
    host_.Write("1/0/1", "1");
    ASSERT_EQ(monitor.NextSent("1/0/2"), "1");

    TelegramMonitor later(host_);
    EXPECT_EQ(monitor.NextSent("1/0/2"), "0");
    std::vector<std::string> sent;
    EXPECT_TRUE(WaitUntil([&later, &sent] {
        const auto more = later.TakeSent();
        sent.insert(sent.end(), more.begin(), more.end());
        return !sent.empty();
    }));
    EXPECT_EQ(sent, std::vector<std::string>{"write 1/0/2 0"});
}

TEST_F(StairLight, DownloadThatIsAbortedAndCompletedLaterEndsWell) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    json description = ReadStairLight();
    description["parameters"]["text"]["1"] = "Hello";
    const std::string file = WriteDescription(description);

    Download(file, {{"abortAfter", 40960}});
    EXPECT_EQ(host_.GetStatus().at("loadStates").at("40960"), "loading");
    ASSERT_TRUE(WaitUntil([this] { return host_.GetAppHosts().empty(); }));
    TelegramMonitor monitor(host_);
    DownloadAndWait(file);

    EXPECT_EQ(monitor.NextSent("1/0/4"), "Hello");
    EXPECT_EQ(host_.GetAppHosts().size(), 1U);
}

TEST_F(StairLight, DownloadThatIsAbortedBeforeTheApplicationsOwnObjectLeavesTheAppRunning) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    const std::string file = WriteDescription(ReadStairLight());

    Download(file, {{"abortAfter", 9}});

    EXPECT_EQ(host_.GetStatus().at("loadStates").at("9"), "loading");
    EXPECT_EQ(host_.GetAppHosts().size(), 1U);
    DownloadAndWait(file);
    EXPECT_EQ(host_.GetAppHosts().size(), 1U);
}

TEST_F(StairLight, AppThatIsKilledIsReplacedByTheNextRestart) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    const auto appHosts = host_.GetAppHosts();
    ASSERT_EQ(appHosts.size(), 1U);
    ::kill(appHosts.front(), SIGKILL);

    ASSERT_TRUE(host_.RestartAndWait());

    ASSERT_TRUE(host_.WaitForRunState("running"));
    TelegramMonitor monitor(host_);
    host_.Write("1/0/1", "1");
    EXPECT_EQ(monitor.NextSent("1/0/2"), "1");
}

TEST(LateDeviceStack, DeviceComesUpByItselfOnceItIsThere) {
    std::uint16_t port = 0;
    {
        const DeviceStack probe({StairLightSerialNumber});
        port = probe.GetPort();
    }
    Host host({EndToEnd::SampleDevice("stairlight"), "127.0.0.1:" + std::to_string(port)});
    ASSERT_TRUE(host.GetProcess().WaitForLine("Failed to connect to device stack.").has_value());

    const DeviceStack deviceStack({StairLightSerialNumber}, port);

    EXPECT_TRUE(host.WaitForRunState("running"));
    EXPECT_TRUE(host.Stop());
}

}  // namespace
