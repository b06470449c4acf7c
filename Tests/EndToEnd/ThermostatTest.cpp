#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "Children.h"
#include "LocalDevice.h"
#include "Relay.h"
#include "RepeatCount.h"
#include "ReportLimit.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::Milliseconds;
using EndToEnd::TelegramMonitor;
using EndToEnd::ThermostatSerialNumber;
using EndToEnd::WaitUntil;
using TestSupport::ReportLimit;
namespace fs = boost::filesystem;

const unsigned long State = Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(1);
const unsigned long AppDebug = Zandrel::KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId(1);

/// The thermostat, a managed app, with real mono.
class Thermostat : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host_.WaitForRunState("running")); }

    /// The processes of the device whose command line contains `text`.
    std::vector<pid_t> Find(const std::string& text) {
        std::vector<pid_t> found;
        for (const pid_t child : TestSupport::GetChildren(host_.GetProcess().GetPid())) {
            fs::ifstream file("/proc/" + std::to_string(child) + "/cmdline");
            std::string line;
            std::getline(file, line);  // throws nothing where the process goes now
            if (line.find(text) != std::string::npos) {
                found.push_back(child);
            }
        }
        return found;
    }
    void KillAll(const std::string& text) {
        for (const pid_t process : Find(text)) {
            kill(process, SIGKILL);
        }
    }
    pid_t GetConnectorHost() { return Find("OrnAppConnectorHost.exe").at(0); }

    std::string GetRunState() const {
        return deviceStack_.Ask({{"command", "GetValue"}, {"id", State}}).at("response").at("value");
    }
    bool WaitForAppState(const std::string& state, Milliseconds limit = EndToEnd::Limit) {
        return WaitUntil([this, &state] { return GetRunState() == state; }, limit);
    }
    void SwitchDebugMode(bool on) {
        deviceStack_.Ask({{"command", "SetValue"}, {"id", AppDebug}, {"value", on ? "1" : "0"}});
    }
    /// The answers are computed in C#: without that half there is none.
    void ExpectNoAnswer() {
        TelegramMonitor monitor(host_);
        host_.Write("1/0/2", "21");
        EXPECT_FALSE(monitor.NextSent("1/0/4", Milliseconds(500)));
    }
    bool WaitForAnswer() {
        TelegramMonitor monitor(host_);
        return WaitUntil([this, &monitor] {
            host_.Write("1/0/2", "21");
            return monitor.NextSent("1/0/4", Milliseconds(500)) == "21";
        });
    }
    bool HasLine(const std::string& text) {
        const auto log = host_.GetLog();
        return std::any_of(log.begin(), log.end(),
                           [&text](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    EndToEnd::TemporaryFolder folder_;
    DeviceStack deviceStack_{{ThermostatSerialNumber}};
    Host host_{{EndToEnd::SampleDevice("thermostat"),
                deviceStack_.GetAddress(),
                "in-process",
                {},
                {{"ORN_CONNECTOR_PORT_FILE", folder_.At("port")}}}};
};

constexpr const char* Stopped = "0";
constexpr const char* Running = "2";

TEST_F(Thermostat, SetPointGoesFromTheBusToTheAppAndBack) {
    TelegramMonitor monitor(host_);

    host_.Write("1/0/2", "30");
    EXPECT_EQ(monitor.NextSent("1/0/4"), "25");
    host_.Write("1/0/1", "22");
    EXPECT_EQ(monitor.NextSent("1/0/3"), "60");
    EXPECT_TRUE(host_.Stop());
}

TEST_F(Thermostat, StopsWhenAsked) {
    EXPECT_TRUE(host_.Stop());

    EXPECT_TRUE(HasLine("Stop - Thermostat: Waiting for app to terminate"));
    EXPECT_TRUE(HasLine("Stop - Application terminated successfully."));
}

TEST_F(Thermostat, KilledConnectorHostIsReported) {
    kill(GetConnectorHost(), SIGKILL);

    EXPECT_TRUE(WaitForAppState(Stopped, ReportLimit));
    ExpectNoAnswer();
}

TEST_F(Thermostat, FrozenConnectorHostIsReported) {
    kill(GetConnectorHost(), SIGSTOP);

    EXPECT_TRUE(WaitForAppState(Stopped, ReportLimit));
    ExpectNoAnswer();
    EXPECT_TRUE(host_.Stop());
}

TEST_F(Thermostat, DisconnectedConnectorHostIsReported) {
    const std::string portFile = folder_.At("port");
    unsigned short port = 0;
    fs::ifstream(portFile) >> port;
    TestSupport::Relay relay(port);
    SwitchDebugMode(true);
    ASSERT_TRUE(WaitForAppState(Stopped));
    fs::ofstream(portFile) << relay.GetPort() << '\n';
    SwitchDebugMode(false);
    ASSERT_TRUE(WaitForAnswer());

    relay.CutService();

    EXPECT_TRUE(WaitForAppState(Stopped, ReportLimit));
    ExpectNoAnswer();
    EXPECT_EQ(Find("OrnAppConnectorHost.exe").size(), 1U) << "it lives, and has no say any more";
    EXPECT_TRUE(host_.Stop());
}

TEST_F(Thermostat, RestartBringsAKilledOneBack) {
    kill(GetConnectorHost(), SIGKILL);
    ASSERT_TRUE(WaitForAppState(Stopped, ReportLimit));

    ASSERT_TRUE(host_.RestartAndWait());

    TelegramMonitor monitor(host_);
    host_.Write("1/0/2", "21");
    EXPECT_EQ(monitor.NextSent("1/0/4"), "21");
}

/// In half of the rounds while the app starts, at whatever point.
TEST_F(Thermostat, RestartBringsBackWhateverWasKilled) {
    constexpr unsigned Shares = 100;
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(host_.RestartAndWait());
    const auto cycle = std::chrono::steady_clock::now() - begin;
    const auto limit = std::chrono::steady_clock::now() +
                       std::chrono::seconds(TestSupport::GetRepeatCount("ORN_TEST_KILL_SECONDS", 30));
    for (int round = 0; std::chrono::steady_clock::now() < limit; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        if (random() % 2 == 0) {
            ASSERT_EQ(host_.Ask({{"command", "exit"}}).at("result"), 1);
            ASSERT_EQ(host_.Ask({{"command", "start"}}).at("result"), 2);
            std::this_thread::sleep_for(cycle * (random() % Shares) / Shares);
        }
        const auto choice = random() % 3;
        if (choice != 0) {
            KillAll("OrnAppConnectorHost.exe");
        }
        if (choice != 1) {
            KillAll("libornconnectorapp.so");
        }

        ASSERT_TRUE(host_.RestartAndWait());

        ASSERT_TRUE(host_.WaitForRunState("running"));
        ASSERT_EQ(Find("OrnAppConnectorHost.exe").size(), 1U);
        ASSERT_EQ(Find("libornconnectorapp.so").size(), 1U);
        TelegramMonitor monitor(host_);
        host_.Write("1/0/2", "21");
        ASSERT_EQ(monitor.NextSent("1/0/4"), "21");
    }
    EXPECT_TRUE(host_.Stop());
}

TEST_F(Thermostat, DebugModeStopsTheConnectorHostAndBringsItBack) {
    SwitchDebugMode(true);
    EXPECT_TRUE(WaitUntil([this] { return Find("OrnAppConnectorHost.exe").empty(); }));
    EXPECT_TRUE(WaitForAppState(Stopped));

    SwitchDebugMode(false);

    EXPECT_TRUE(WaitForAppState(Running));
    EXPECT_TRUE(WaitForAnswer());
}

}  // namespace
