#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>

#include "Bus/KnxdBusLink.h"
#include "ChildProcess.h"
#include "Control/ControlCommands.h"
#include "EventRecorder.h"
#include "FakeProgram.h"
#include "TemporaryFolder.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using TestDevice::Dpt;
using TestDevice::GroupAddress;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using TestSupport::ChildProcess;

/// Keeps what a link hears and what it says about its connection.
class Listener {
public:
    TelegramHandler GetTelegramHandler() {
        return [this](const Telegram& telegram) {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            telegrams_.push_back(telegram);
            changed_.notify_all();
        };
    }
    KnxdBusLink::ConnectionHandler GetConnectionHandler() {
        return [this](bool isConnected, const std::string& line) {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            isConnected_.push_back(isConnected);
            lines_.push_back(line);
            changed_.notify_all();
        };
    }
    std::vector<Telegram> WaitForTelegrams(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(20), [&] { return telegrams_.size() >= count; });
        return telegrams_;
    }
    std::vector<std::string> WaitForLines(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(20), [&] { return lines_.size() >= count; });
        return lines_;
    }
    std::vector<bool> GetConnections() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return isConnected_;
    }

private:
    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::vector<Telegram> telegrams_;
    std::vector<bool> isConnected_;
    std::vector<std::string> lines_;
};

Telegram Make(GroupService service, std::uint16_t address, std::vector<std::uint8_t> data, bool isCompact = false) {
    Telegram telegram;
    telegram.service = service;
    telegram.groupAddress = address;
    telegram.data = std::move(data);
    telegram.isCompact = isCompact;
    return telegram;
}

class KnxdLinkTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGPIPE, &action, nullptr);
    }

    void StartKnxd() {
        knxd.emplace(KNXD_PROGRAM,
                     std::vector<std::string>{"-e", "1.1.1", "-E", "1.1.2:20", "-u", socket, "-b", "dummy:"});
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!IsThere()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "knxd does not start";
            boost::this_thread::sleep_for(boost::chrono::milliseconds(5));
        }
    }
    void StopKnxd() {
        knxd.reset();  // killed
        boost::filesystem::remove(socket);
    }
    bool IsThere() {
        try {
            const KnxdConnection connection(url);
            return true;
        } catch (const BusError&) {
            return false;
        }
    }
    std::unique_ptr<KnxdBusLink> Connect(Listener& listener) {
        return std::make_unique<KnxdBusLink>(url, listener.GetTelegramHandler(), listener.GetConnectionHandler());
    }

    const TestSupport::TemporaryFolder folder;
    const std::string socket = (folder.GetPath() / "knxd").string();
    const std::string url = "local:" + socket;
    std::optional<ChildProcess> knxd;
    Listener first;
    Listener second;
};

TEST_F(KnxdLinkTest, WithoutKnxdThereIsOneClearError) {
    try {
        Connect(first);
        FAIL();
    } catch (const BusError& error) {
        EXPECT_EQ(error.what(), "no knxd at " + url + ": No such file or directory");
    }
}

TEST_F(KnxdLinkTest, AKnxdThatStandsStillIsAnErrorInTime) {
    StartKnxd();
    ASSERT_TRUE(knxd->Signal(SIGSTOP));
    try {
        Connect(first);
        FAIL();
    } catch (const BusError& error) {
        EXPECT_THAT(error.what(), StartsWith("knxd at " + url + " opens no group connection: "));
    }
}

TEST_F(KnxdLinkTest, EveryKindOfTelegramTravelsAsItWasSent) {
    StartKnxd();
    const auto firstLink = Connect(first);
    const auto secondLink = Connect(second);
    EXPECT_TRUE(firstLink->IsConnected());
    const std::vector<Telegram> sent{
        Make(GroupService::Write, GroupAddress(1, 2, 3), {0x3F}, true),
        Make(GroupService::Write, GroupAddress(31, 7, 255), {0x01}),
        Make(GroupService::Response, GroupAddress(0, 0, 1), std::vector<std::uint8_t>(14, 0xA5)),
        Make(GroupService::Read, GroupAddress(1, 2, 3), {}),
        Make(GroupService::Response, GroupAddress(1, 2, 3), {0x00}, true),
    };
    for (const Telegram& telegram : sent) {
        EXPECT_TRUE(firstLink->Send(telegram));
    }
    const auto heard = second.WaitForTelegrams(sent.size());
    ASSERT_EQ(heard.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(heard[i].service, sent[i].service) << i;
        EXPECT_EQ(heard[i].groupAddress, sent[i].groupAddress) << i;
        EXPECT_EQ(heard[i].data, sent[i].data) << i;
        EXPECT_EQ(heard[i].isCompact, sent[i].isCompact) << i;
        EXPECT_EQ(heard[i].source & 0xFF00, 0x1100) << i;
    }
}

TEST_F(KnxdLinkTest, ALinkHearsTheOthersInOrderAndNotItself) {
    StartKnxd();
    const auto firstLink = Connect(first);
    const auto secondLink = Connect(second);
    for (std::uint8_t i = 0; i < 200; ++i) {
        EXPECT_TRUE(firstLink->Send(Make(GroupService::Write, 1, {i})));
    }
    const auto heard = second.WaitForTelegrams(200);
    ASSERT_EQ(heard.size(), 200U);
    for (std::uint8_t i = 0; i < 200; ++i) {
        EXPECT_THAT(heard[i].data, ElementsAre(i));
    }
    secondLink->Send(Make(GroupService::Write, 2, {1}));
    const auto answer = first.WaitForTelegrams(1);
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].groupAddress, 2);
}

TEST_F(KnxdLinkTest, ALostKnxdIsReportedOnceAndItsReturnOnce) {
    StartKnxd();
    const auto firstLink = Connect(first);
    const auto secondLink = Connect(second);
    StopKnxd();
    EXPECT_THAT(first.WaitForLines(1), ElementsAre("knxd at " + url + " is gone; trying again"));
    EXPECT_FALSE(firstLink->IsConnected());
    StartKnxd();
    EXPECT_THAT(first.WaitForLines(2).back(), "knxd at " + url + " is back");
    second.WaitForLines(2);
    EXPECT_TRUE(firstLink->IsConnected());
    EXPECT_THAT(first.GetConnections(), ElementsAre(false, true));
    EXPECT_TRUE(firstLink->Send(Make(GroupService::Write, 5, {1})));
    EXPECT_EQ(second.WaitForTelegrams(1).size(), 1U);
}

TEST_F(KnxdLinkTest, WhileKnxdIsAwaySomeTelegramsAreKeptAndTheRestIsDropped) {
    StartKnxd();
    const auto link = Connect(first);
    StopKnxd();
    first.WaitForLines(1);
    for (std::size_t i = 0; i < KnxdBusLink::MaxWaitingTelegrams; ++i) {
        EXPECT_TRUE(link->Send(Make(GroupService::Write, 1, {1})));
    }
    EXPECT_FALSE(link->Send(Make(GroupService::Write, 1, {1})));
    EXPECT_FALSE(link->Send(Make(GroupService::Write, 1, {1})));
    StartKnxd();
    EXPECT_THAT(first.WaitForLines(2).back(), "knxd at " + url + " is back; 1000 telegrams waited, 2 were dropped");
    // Those that waited are on their way; then there is room again.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!link->Send(Make(GroupService::Read, 1, {}))) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
}

TEST_F(KnxdLinkTest, AKnxdThatPausesHoldsNobodyUpAndGetsEverythingInOrder) {
    constexpr std::uint8_t Telegrams = 250;  // more than the connection holds
    StartKnxd();
    const auto firstLink = Connect(first);
    const auto secondLink = Connect(second);
    ASSERT_TRUE(knxd->Signal(SIGSTOP));
    const auto start = std::chrono::steady_clock::now();
    for (std::uint8_t i = 0; i < Telegrams; ++i) {
        EXPECT_TRUE(firstLink->Send(Make(GroupService::Write, 1, {i})));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    ASSERT_TRUE(knxd->Signal(SIGCONT));
    EXPECT_TRUE(firstLink->Send(Make(GroupService::Write, 1, {Telegrams})));
    const auto heard = second.WaitForTelegrams(Telegrams + 1);
    ASSERT_EQ(heard.size(), Telegrams + 1U);
    for (std::uint8_t i = 0; i <= Telegrams; ++i) {
        EXPECT_THAT(heard[i].data, ElementsAre(i));
    }
}

TEST_F(KnxdLinkTest, AKnxdThatTakesNothingCountsAsGone) {
    StartKnxd();
    const auto link = Connect(first);
    ASSERT_TRUE(knxd->Signal(SIGSTOP));
    for (std::size_t i = 0; i < KnxdBusLink::MaxWaitingTelegrams; ++i) {
        EXPECT_TRUE(link->Send(Make(GroupService::Write, 1, {1})));
    }
    EXPECT_THAT(first.WaitForLines(1), ElementsAre("knxd at " + url + " is gone; trying again"));
    ASSERT_TRUE(knxd->Signal(SIGCONT));
    EXPECT_THAT(first.WaitForLines(2).back(), StartsWith("knxd at " + url + " is back; "));
}

TEST_F(KnxdLinkTest, ALinkEndsWhileKnxdIsAway) {
    StartKnxd();
    auto link = Connect(first);
    StopKnxd();
    first.WaitForLines(1);
    link.reset();
    EXPECT_THAT(first.GetConnections(), ElementsAre(false));
}

TEST_F(KnxdLinkTest, ALinkEndsWhileKnxdStandsStill) {
    StartKnxd();
    auto link = Connect(first);
    ASSERT_TRUE(knxd->Signal(SIGSTOP));
    EXPECT_TRUE(link->Send(Make(GroupService::Write, 1, {1})));
    link.reset();
    EXPECT_TRUE(first.GetConnections().empty());
}

TEST_F(KnxdLinkTest, AWholeHostLivesOnKnxd) {
    StartKnxd();
    const auto device = TestDevice::Make({
        TestDevice::Object(1, Dpt(1, 1), "CW", {GroupAddress(1, 0, 1)}),
        TestDevice::Object(2, Dpt(5, 10), "CRT", {GroupAddress(1, 0, 2)}),
    });
    HostEvents events;
    EventRecorder recorder(events);
    ProgramScript script;
    KnxStackHost host(device, BusAddress{url}, script.MakeFactory(), events, std::chrono::milliseconds(0));
    ControlCommands commands(host, device, LoadDeviceDescription);
    auto written = commands.Execute({{"command", "write"}, {"address", "1/0/1"}, {"value", "1"}});
    EXPECT_EQ(written["ok"], true) << written;
    const auto telegrams = recorder.WaitFor<TelegramEvent>(1);
    ASSERT_EQ(telegrams.size(), 1U);
    EXPECT_EQ(telegrams[0].value, KnxStack::GroupValue({1}));
    EXPECT_TRUE(host.GetGroupObjects().WriteValue(2, KnxStack::GroupValue({42}), 0));
    auto answer = commands.Execute({{"command", "read"}, {"address", "1/0/2"}, {"timeoutMs", 20'000}});
    EXPECT_EQ(answer["value"], "42") << answer;
}

}  // namespace
}  // namespace LocalDevice
