#include <boost/chrono/system_clocks.hpp>

#include "ProgramFixture.h"

namespace {

using namespace Program;
using boost::chrono::milliseconds;
using boost::chrono::seconds;
using testing::IsSupersetOf;
using RealClock = boost::chrono::steady_clock;

/// More than all requests of a call take with the time-outs of this test, and less than one of 25 s.
constexpr seconds Bound{20};

/// A device stack that takes every request and answers none.
class ProgramAtASilentDeviceStack : public ProgramFixture {
protected:
    ProgramAtASilentDeviceStack() {
        Create(TestSupport::ShortConnectionTimes());
        Forget();
        // Nor does it report a run state.
        clock_->onHostSleep = [] {};
    }

    void FallSilent() { deviceStack_.Ignore(""); }

    /// The result of `call`, which has to come in time: in simulated time after `waits`.
    template <typename Call>
    void ExpectInTime(int result, Zandrel::Clock::Duration waits, const Call& call) {
        const auto start = RealClock::now();
        const auto simulatedStart = clock_->Now();
        EXPECT_EQ(call(), result);
        EXPECT_LT(RealClock::now() - start, Bound);
        EXPECT_EQ(clock_->Now() - simulatedStart, waits);
    }
};

TEST_F(ProgramAtASilentDeviceStack, InitFailsAfterOneRequest) {
    FallSilent();

    ExpectInTime(Failure, seconds(0), [this] { return sut_->Init(stack_); });

    ExpectHostLines({{"INFO", "ConnectDeviceStack - Create devicestack client connecting with localhost..."},
                     {"INFO", "ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client..."},
                     {"ERROR", "ConnectDeviceStack - Request timed out! [CALL STACK]"},
                     {"ERROR", "Init - Connecting the devicestack failed. [CALL STACK]"}});
    EXPECT_EQ(deviceStack_.GetRequests(),
              Requests{R"({"command":"RegisterApplication","name":"OrnKnxAppPrg","type":"field","domain":"KNX"})"});
    ExpectInTime(Exited, seconds(0), [this] { return sut_->Exit(); });
}

TEST_F(ProgramAtASilentDeviceStack, InitFailsWhenTheFormatIsNotAnswered) {
    deviceStack_.Ignore("EnableNativeFormat");

    ExpectInTime(Failure, seconds(0), [this] { return sut_->Init(stack_); });

    ExpectHostLines({{"INFO", "ConnectDeviceStack - Create devicestack client connecting with localhost..."},
                     {"INFO", "ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client..."},
                     {"ERROR",
                      "ConnectDeviceStack - Failed to configure message format of device stack "
                      "communication. [CALL STACK]"},
                     {"ERROR", "Init - Connecting the devicestack failed. [CALL STACK]"}});
}

TEST_F(ProgramAtASilentDeviceStack, InitThatFindsNoneGivesUpAfterTwoSeconds) {
    Zandrel::Environment environment;
    environment.clock = clock_;
    environment.clientFactory.create = [](const std::string&) { return nullptr; };
    sut_ = std::make_unique<Zandrel::OrnKnxAppPrg>(log_.GetLogger(), environment);

    ExpectInTime(Failure, 10 * milliseconds(200), [this] { return sut_->Init(stack_); });
}

TEST_F(ProgramAtASilentDeviceStack, RestartWaitsForFourRequestsAndGoesOn) {
    Start();
    Unload();
    FallSilent();

    ExpectInTime(Started, seconds(0), [this] { return sut_->OnDeviceRestart(); });

    EXPECT_EQ(clock_->joinDuration, seconds(4));
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_THAT(TakeHostLines(),
                IsSupersetOf(Lines{
                    {"ERROR", "[App] IndicateLoadState - Sending configurationUnloaded to devicestack timed out!"},
                    {"ERROR", "[App] DoSendAppControlEvent - Sending event '3' timed out"},
                    {"ERROR", "[App] OnDeviceRestart - Failed to signal disabled KNX communication"},
                    {"ERROR", "[App] DoSendAppControlEvent - Sending event '1' timed out"},
                    {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."},
                    {"WARN", "The device stack left 3 requests in a row without an answer."},
                    {"ERROR", "[App] DisableLogicalKnxDevice - Setting configuration of object '1000000' time out."},
                    {"WARN", "[App] ResetConfiguration - Failed to disable device channel. Logical device: 1"}}));
    // The correction of the run state wants no answer.
    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"),
                                                    SetValue(State, "3.1:0"), Disable()}));
}

TEST_F(ProgramAtASilentDeviceStack, ExitWaitsForFourRequestsAndDisconnects) {
    Start();
    FallSilent();

    ExpectInTime(Exited, seconds(0), [this] { return sut_->Exit(); });

    EXPECT_EQ(clock_->joinDuration, seconds(4));
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"),
                                                    SetValue(State, "3.1:0"), Disable()}));
    EXPECT_EQ(client_.GetCalls().back(), "release");
}

TEST_F(ProgramAtASilentDeviceStack, AppThatOnlyStartsIsGivenFiveSeconds) {
    Start();
    Report(AppHostControlState::Starting);
    FallSilent();

    ExpectInTime(Exited, seconds(5), [this] { return sut_->Exit(); });

    EXPECT_TRUE(HasLine("[App] SendAppControlEventStop - Run state did not change from starting to running"));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramAtASilentDeviceStack, AppThatTookTheShutDownIsGivenTenSeconds) {
    Start();
    FallSilent();
    deviceStack_.Accept(SetValue(Event, "3.1:1"));

    ExpectInTime(Exited, seconds(10), [this] { return sut_->Exit(); });

    EXPECT_THAT(TakeHostLines(), testing::Contains(TestSupport::LogLine{
                                     "ERROR",
                                     "Stop - App host did not stop in time (10 seconds). Current run state: "
                                     " Running (2). Will kill it now"}));
    EXPECT_TRUE(GetChildren().empty());
}

}  // namespace
