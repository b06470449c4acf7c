#include <stdexcept>

#include "ProgramFixture.h"

namespace {

using namespace Program;

const TestSupport::LogLine Registering{"INFO",
                                       "[App] ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client..."};

class ProgramConnection : public testing::Test {
protected:
    ProgramConnection() {
        identity_->SetAppId("App");
        factory_.create = [this](const std::string& address) {
            addresses_.push_back(address);
            return addresses_.size() > refused_ ? &client_ : nullptr;
        };
    }

    std::unique_ptr<Zandrel::DeviceStackConnection> Make(const std::string& address = {}) {
        return std::make_unique<Zandrel::DeviceStackConnection>(Zandrel::PrefixedLogger(log_.GetLogger(), identity_),
                                                                clock_, factory_, Zandrel::ConnectionTimes{}, address);
    }

    TestSupport::LogCapture log_;
    std::shared_ptr<Zandrel::AppIdentity> identity_ = std::make_shared<Zandrel::AppIdentity>();
    std::shared_ptr<TestSupport::SimulatedClock> clock_ = std::make_shared<TestSupport::SimulatedClock>();
    TestSupport::ScriptedDeviceStack deviceStack_;
    HookedClient client_{deviceStack_};
    Zandrel::ClientFactory factory_ = client_.GetFactory();
    std::size_t refused_ = 0;
    std::vector<std::string> addresses_;
};

TEST_F(ProgramConnection, AddressIsShownAndUsedAtEachAttempt) {
    refused_ = 1;
    const auto sut = Make("192.0.2.7:8080");

    EXPECT_TRUE(sut->ConnectDeviceStack());

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"INFO",
                      "[App] ConnectDeviceStack - Create devicestack client connecting with "
                      "'192.0.2.7:8080'..."},
                     {"WARN", "[App] ConnectDeviceStack - Failed to connect to device stack. Retrying..."},
                     Registering}));
    EXPECT_EQ(addresses_, (std::vector<std::string>{"192.0.2.7:8080", "192.0.2.7:8080"}));
}

TEST_F(ProgramConnection, ClientWithoutAMessengerGetsOneDirectly) {
    const auto sut = Make();
    client_.onSetResponseHandler = [] { throw std::runtime_error("not yet"); };
    EXPECT_THROW(sut->ConnectDeviceStack(), std::runtime_error);
    EXPECT_FALSE(sut->IsConnected());
    client_.onSetResponseHandler = [] {};
    log_.TakeLines();

    EXPECT_TRUE(sut->ConnectDeviceStack());

    EXPECT_EQ(log_.GetLines(), Lines{Registering});
    EXPECT_EQ(addresses_.size(), 1U);
    EXPECT_TRUE(sut->IsConnected());
}

TEST_F(ProgramConnection, DisconnectUnsetsTheMessengerDropsTheHandlerAndReleases) {
    const auto sut = Make();
    ASSERT_TRUE(sut->ConnectDeviceStack());

    sut->Disconnect();

    EXPECT_EQ(client_.GetCalls(), (std::vector<std::string>{"set response handler", "unset response handler",
                                                            "drop event handler", "release"}));
}

TEST_F(ProgramConnection, ConnectingAgainUnsetsTheEarlierMessengerBeforeItReleases) {
    const auto sut = Make();
    ASSERT_TRUE(sut->ConnectDeviceStack());

    EXPECT_TRUE(sut->ConnectDeviceStack());

    EXPECT_EQ(client_.GetCalls(), (std::vector<std::string>{"set response handler", "unset response handler", "release",
                                                            "set response handler"}));
}

TEST_F(ProgramConnection, FailedRegistrationIsFreedByTheDisconnect) {
    deviceStack_.Refuse("RegisterApplication", "no");
    const auto sut = Make();
    ASSERT_FALSE(sut->ConnectDeviceStack());
    EXPECT_EQ(client_.GetCalls(), std::vector<std::string>{"set response handler"});

    sut->Disconnect();

    EXPECT_EQ(client_.GetCalls().back(), "release");
}

/// The address comes from the environment of the program.
TEST(ProgramAddress, ReachesTheConnection) {
    TestSupport::GlobalLogCapture log;
    TestSupport::FakeKnxStack hub;
    Zandrel::Environment environment;
    environment.clock = std::make_shared<TestSupport::SimulatedClock>();
    environment.clientFactory.create = [](const std::string&) { return nullptr; };
    environment.deviceStackAddress = "192.0.2.7";
    Zandrel::OrnKnxAppPrg sut(log.GetLogger(), environment);

    EXPECT_EQ(sut.Init(hub), Failure);

    EXPECT_EQ(log.GetLines().at(0),
              (TestSupport::LogLine{"INFO",
                                    "ConnectDeviceStack - Create devicestack client connecting with '192.0.2.7'..."}));
}

}  // namespace
