#include "DeviceStackConnection.h"

#include <gtest/gtest.h>

#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread_only.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ScriptedDeviceStack.h"
#include "SimulatedClock.h"

namespace {

using boost::chrono::milliseconds;
using TestSupport::LogLine;
using TestSupport::ScriptedDeviceStack;
using TestSupport::SimulatedClock;
using Zandrel::Answer;
using Zandrel::Judge;

const LogLine Connecting{"INFO", "[App] ConnectDeviceStack - Create devicestack client connecting with localhost..."};
const LogLine Retrying{"WARN", "[App] ConnectDeviceStack - Failed to connect to device stack. Retrying..."};
const LogLine Registering{"INFO", "[App] ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client..."};

class DeviceStackConnection : public testing::Test {
protected:
    DeviceStackConnection() { identity_->SetAppId("App"); }

    /// Hands out the scripted device stack from the attempt after `refused_` on.
    Zandrel::ClientFactory MakeFactory() {
        return {[this](const std::string& address) -> Ostra::IDeviceStackClient* {
                    addresses_.push_back(address);
                    return addresses_.size() > refused_ ? &deviceStack_ : nullptr;
                },
                [this](Ostra::IDeviceStackClient* client) { released_.push_back(client); }};
    }

    TestSupport::LogCapture capture_;
    std::shared_ptr<Zandrel::AppIdentity> identity_ = std::make_shared<Zandrel::AppIdentity>();
    std::shared_ptr<SimulatedClock> clock_ = std::make_shared<SimulatedClock>();
    ScriptedDeviceStack deviceStack_;
    std::size_t refused_ = 0;
    std::vector<std::string> addresses_;
    std::vector<Ostra::IDeviceStackClient*> released_;
    Zandrel::DeviceStackConnection sut_{Zandrel::PrefixedLogger(capture_.GetLogger(), identity_), clock_, MakeFactory(),
                                        TestSupport::ShortConnectionTimes()};
};

TEST_F(DeviceStackConnection, RegistersAndSwitchesOnTheNativeFormat) {
    EXPECT_TRUE(sut_.ConnectDeviceStack());

    EXPECT_EQ(deviceStack_.GetRequests(),
              (std::vector<std::string>{
                  R"({"command":"RegisterApplication","name":"OrnKnxAppPrg","type":"field","domain":"KNX"})",
                  R"({"command":"EnableNativeFormat"})"}));
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{Connecting, Registering}));
}

TEST_F(DeviceStackConnection, EmptyAddressUsesTheFactoryOfTheLocalDeviceStack) {
    EXPECT_TRUE(sut_.ConnectDeviceStack());
    EXPECT_EQ(addresses_, std::vector<std::string>{""});
}

TEST_F(DeviceStackConnection, ClientOfTheFourthAttemptComesAfterThreeWarningsAndPauses) {
    refused_ = 3;
    const auto start = clock_->Now();

    EXPECT_TRUE(sut_.ConnectDeviceStack());

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{Connecting, Retrying, Retrying, Retrying, Registering}));
    EXPECT_EQ(clock_->Now() - start, milliseconds(3 * 200));
}

TEST_F(DeviceStackConnection, GivesUpAfterTheTenthAttempt) {
    refused_ = 100;
    const auto start = clock_->Now();

    EXPECT_FALSE(sut_.ConnectDeviceStack());

    EXPECT_EQ(addresses_.size(), 10U);
    EXPECT_EQ(clock_->Now() - start, milliseconds(10 * 200));
    std::vector<LogLine> expected{Connecting};
    expected.insert(expected.end(), 10, Retrying);
    expected.push_back({"ERROR", "[App] ConnectDeviceStack - Failed to connect to device stack."});
    EXPECT_EQ(capture_.GetLines(), expected);
    EXPECT_FALSE(sut_.IsConnected());
}

TEST_F(DeviceStackConnection, RefusedRegistrationFails) {
    deviceStack_.Refuse("RegisterApplication", "name taken");

    EXPECT_FALSE(sut_.ConnectDeviceStack());

    EXPECT_EQ(
        capture_.GetLines(),
        (std::vector<LogLine>{Connecting, Registering, {"ERROR", "[App] ConnectDeviceStack - Error! name taken"}}));
}

TEST_F(DeviceStackConnection, UnansweredRegistrationFails) {
    deviceStack_.Ignore("RegisterApplication");

    EXPECT_FALSE(sut_.ConnectDeviceStack());

    EXPECT_EQ(
        capture_.GetLines(),
        (std::vector<LogLine>{Connecting, Registering, {"ERROR", "[App] ConnectDeviceStack - Request timed out!"}}));
}

TEST_F(DeviceStackConnection, RefusedFormatFails) {
    deviceStack_.Refuse("EnableNativeFormat", "no");

    EXPECT_FALSE(sut_.ConnectDeviceStack());

    EXPECT_EQ(
        capture_.GetLines().back(),
        (LogLine{"ERROR",
                 "[App] ConnectDeviceStack - Failed to configure message format of device stack communication."}));
}

TEST_F(DeviceStackConnection, ConnectingAgainReleasesTheEarlierClient) {
    EXPECT_TRUE(sut_.ConnectDeviceStack());
    EXPECT_TRUE(released_.empty());

    EXPECT_TRUE(sut_.ConnectDeviceStack());

    EXPECT_EQ(released_, std::vector<Ostra::IDeviceStackClient*>{&deviceStack_});
    EXPECT_TRUE(sut_.IsConnected());
}

TEST_F(DeviceStackConnection, YieldsNothingWithoutAMessenger) {
    EXPECT_FALSE(sut_.IsConnected());
    EXPECT_FALSE(sut_.Request(R"({"command":"GetDeviceConfig"})"));
    EXPECT_FALSE(sut_.SetConfiguration("{}"));
    EXPECT_FALSE(sut_.SetConfiguration(1, {}));
    EXPECT_FALSE(sut_.SetValue(1, Zandrel::ZANVALUE()));
    EXPECT_FALSE(sut_.GetValue(1, true));
    EXPECT_FALSE(sut_.SetValueAndIgnoreResponse(1, Zandrel::ZANVALUE()));
}

TEST_F(DeviceStackConnection, JudgesEachKindOfAnswer) {
    ASSERT_TRUE(sut_.ConnectDeviceStack());
    deviceStack_.Refuse("refused", "no");
    deviceStack_.Ignore("ignored");
    deviceStack_.LoseConnectionAt("lost");

    EXPECT_EQ(Judge(*sut_.Request(R"({"command":"accepted"})")), Answer::Valid);
    EXPECT_EQ(Judge(*sut_.Request(R"({"command":"refused"})")), Answer::Refused);
    EXPECT_EQ(Judge(*sut_.Request(R"({"command":"ignored"})")), Answer::TimedOut);
    EXPECT_EQ(Judge(*sut_.Request(R"({"command":"lost"})")), Answer::Refused);
}

TEST_F(DeviceStackConnection, WaitsForEachAnswerAsLongAsGiven) {
    constexpr Zandrel::ConnectionTimes Times;
    EXPECT_EQ(Times.requestTimeout, boost::chrono::seconds(30));
    EXPECT_EQ(Times.configurationTimeout, boost::chrono::seconds(25));
    EXPECT_EQ(Times.retryPause, milliseconds(200));
}

/// A connection of which one time-out is short and the other one far away.
class DeviceStackConnectionTimes : public DeviceStackConnection {
protected:
    std::unique_ptr<Zandrel::DeviceStackConnection> Connect(milliseconds request, milliseconds configuration) {
        auto sut = std::make_unique<Zandrel::DeviceStackConnection>(
            Zandrel::PrefixedLogger(capture_.GetLogger(), identity_), clock_, deviceStack_.GetFactory(),
            Zandrel::ConnectionTimes{request, configuration, milliseconds(0)});
        EXPECT_TRUE(sut->ConnectDeviceStack());
        deviceStack_.Ignore("");
        return sut;
    }
    static void ExpectSoonTimedOut(const std::optional<Zandrel::Docket>& docket) {
        const auto start = boost::chrono::steady_clock::now();
        EXPECT_EQ(Judge(*docket), Answer::TimedOut);
        EXPECT_LT(boost::chrono::steady_clock::now() - start, FarAway / 2);
    }

    static constexpr milliseconds Short{200};
    static constexpr milliseconds FarAway{20'000};
};

TEST_F(DeviceStackConnectionTimes, DocumentHasItsOwn) {
    const auto sut = Connect(FarAway, Short);

    ExpectSoonTimedOut(sut->SetConfiguration("{}"));
}

TEST_F(DeviceStackConnectionTimes, EverythingElseHasTheOneOfRequests) {
    const auto sut = Connect(Short, FarAway);

    ExpectSoonTimedOut(sut->Request(R"({"command":"GetDeviceConfig"})"));
    ExpectSoonTimedOut(sut->SetConfiguration(1, {}));
    ExpectSoonTimedOut(sut->SetValue(1, Zandrel::ZANVALUE()));
    ExpectSoonTimedOut(sut->GetValue(1, false));
}

TEST_F(DeviceStackConnection, DisconnectReleasesTheClientOnce) {
    ASSERT_TRUE(sut_.ConnectDeviceStack());

    sut_.Disconnect();
    sut_.Disconnect();

    EXPECT_EQ(released_, std::vector<Ostra::IDeviceStackClient*>{&deviceStack_});
    EXPECT_FALSE(sut_.IsConnected());
    EXPECT_FALSE(sut_.Request(R"({"command":"GetDeviceConfig"})"));
}

TEST_F(DeviceStackConnection, DisconnectEndsARequestThatSomebodyWaitsFor) {
    Zandrel::DeviceStackConnection sut(Zandrel::PrefixedLogger(capture_.GetLogger(), identity_), clock_,
                                       deviceStack_.GetFactory());
    ASSERT_TRUE(sut.ConnectDeviceStack());
    deviceStack_.Ignore("GetDeviceConfig");
    Answer answer = Answer::Valid;
    boost::thread waiting([&sut, &answer] { answer = Judge(*sut.Request(R"({"command":"GetDeviceConfig"})")); });
    ASSERT_TRUE(deviceStack_.WaitForRequest("GetDeviceConfig"));

    sut.Disconnect();
    waiting.join();

    EXPECT_EQ(answer, Answer::Refused);
}

class Handler : public Ostra::IDeviceStackClient::IEventHandler {
public:
    bool OnValueChanged(unsigned long, const std::string&, const std::string&) override { return true; }
    bool OnConnectionChanged(bool) override { return true; }
};

TEST_F(DeviceStackConnection, EventHandlerIsRegisteredAndDropped) {
    ASSERT_TRUE(sut_.ConnectDeviceStack());
    Handler handler;

    sut_.SetEventHandler(handler);
    EXPECT_EQ(deviceStack_.GetEventHandler(), &handler);

    sut_.Disconnect();
    EXPECT_EQ(deviceStack_.GetEventHandler(), nullptr);
}

TEST_F(DeviceStackConnection, EventHandlerIsNotRegisteredAgainOnceDisconnected) {
    ASSERT_TRUE(sut_.ConnectDeviceStack());
    Handler handler;
    sut_.Disconnect();

    sut_.SetEventHandler(handler);

    EXPECT_EQ(deviceStack_.GetEventHandler(), nullptr);
}

}  // namespace
