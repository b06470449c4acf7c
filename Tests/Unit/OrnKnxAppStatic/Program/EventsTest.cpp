#include "ProgramFixture.h"

namespace {

using namespace Program;
using testing::Contains;
using TestSupport::FakeGroupValueService;

constexpr std::uint32_t Switch = 1U << 16U | 1U;
constexpr std::uint32_t Text = 16U << 16U | 1U;
constexpr std::uint16_t SwitchCo = 5;
constexpr std::uint16_t TextCo = 6;
constexpr const char* LongText = "5.1:ABCDEFGHIJKLMNOPQRSTUVWXYZ";

TestSupport::LogLine Received(unsigned long id, const std::string& value) {
    return {"DEBUG", "[App] OnValueChanged - " + std::to_string(id) + ": valueChanged, " + value};
}

TestSupport::LogLine DidNotStop(const std::string& state) {
    return {"ERROR",
            "Stop - App host did not stop in time (10 seconds). Current run state:  " + state + ". Will kill it now"};
}

class ProgramEvents : public ProgramFixture {
protected:
    ProgramEvents() {
        stack_.DownloadCo(SwitchCo, Switch);
        stack_.DownloadCo(TextCo, Text);
    }

    static std::size_t CountThreads() {
        namespace fs = boost::filesystem;
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
    }
    std::vector<FakeGroupValueService::Written> Writes() { return stack_.GroupValues().GetWrites(); }
};

TEST_F(ProgramEvents, HeartbeatArmsTheTimerAnew) {
    Start();

    EXPECT_TRUE(Send(Alive, "3.1:17"));

    EXPECT_TRUE(WaitForLine("[App] OnExpiry - DeviceResetTimer stopped."));
    ExpectHostLines({Received(Alive, "3.1:17"),
                     {"DEBUG", "[App] OnValueChanged - " + std::to_string(Alive) + ": AppHost alive received."},
                     {"DEBUG", "[App] StartDeviceResetTimer - DeviceResetTimer started."}});
}

TEST_F(ProgramEvents, HeartbeatNeedNotBeAValue) {
    Start();

    EXPECT_TRUE(Send(Alive, "beat"));

    EXPECT_TRUE(HasLine("[App] StartDeviceResetTimer - DeviceResetTimer started."));
}

TEST_F(ProgramEvents, HeartbeatBeforeTheLogicalDeviceIsKnownLeavesTheTimerAlone) {
    clock_->joinLimit = boost::chrono::milliseconds(20);
    deviceStack_.Ignore("GetDeviceConfig");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(deviceStack_.WaitForRequest("GetDeviceConfig"));
    Forget();

    EXPECT_FALSE(Send(Alive, "3.1:1"));

    ExpectHostLines({{"DEBUG", "OnValueChanged - " + std::to_string(Alive) + ": valueChanged, 3.1:1"},
                     {"DEBUG", "OnValueChanged - Invalid Logical device ID."}});
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(ProgramEvents, RunStateIsStored) {
    Start();
    clock_->onHostSleep = [] {};

    EXPECT_TRUE(Send(State, "3.1:3"));

    ExpectHostLines({Received(State, "3.1:3")});
    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_THAT(TakeHostLines(), Contains(DidNotStop("Stopping (3)")));
}

TEST_F(ProgramEvents, RunStateThatIsNoIntegerIsIgnored) {
    Start();
    clock_->onHostSleep = [] {};

    EXPECT_TRUE(Send(State, "5.1:Stopping"));

    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_THAT(TakeHostLines(), Contains(DidNotStop("Running (2)")));
}

TEST_F(ProgramEvents, ValueOfACoGoesToTheBus) {
    Start();

    EXPECT_TRUE(Send(ValueOfCo(SwitchCo), "2.1:1"));

    EXPECT_EQ(Writes(), (std::vector<FakeGroupValueService::Written>{{SwitchCo, {1}}}));
    ExpectHostLines(
        {Received(ValueOfCo(SwitchCo), "2.1:1"), {"DEBUG", "[App] WriteValue - Value to be written on CO5, 2 -> 1"}});
}

TEST_F(ProgramEvents, ValueThatTheStackRefusesIsNotHandled) {
    Start();
    stack_.GroupValues().RefuseWrites();

    EXPECT_FALSE(Send(ValueOfCo(SwitchCo), "2.1:1"));
}

TEST_F(ProgramEvents, ValueOfAnUnknownIdIsNotHandled) {
    Start();

    EXPECT_FALSE(Send(7, "2.1:1"));

    ExpectHostLines({Received(7, "2.1:1")});
}

TEST_F(ProgramEvents, ValuesOfTheOtherLogicalDeviceAreNotHandled) {
    Start();

    EXPECT_FALSE(Send(Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(2), "3.1:1"));
    EXPECT_FALSE(Send(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(2), "3.1:0"));
    EXPECT_FALSE(Send(*Zandrel::KnxOdsMapping::GetCoValueObjModelId(SwitchCo, 2), "2.1:1"));

    EXPECT_FALSE(HasLine("DeviceResetTimer"));
    EXPECT_TRUE(Writes().empty());
}

TEST_F(ProgramEvents, ValueThatIsNoSerialisedOneEndsInOneLine) {
    Start();

    EXPECT_FALSE(Send(ValueOfCo(SwitchCo), "junk"));

    ExpectHostLines(
        {Received(ValueOfCo(SwitchCo), "junk"),
         {"ERROR", "[App] OnValueChanged - Unexpected failure: a serialised value starts with TYPE.SUBTYPE:"}});
}

TEST_F(ProgramEvents, EventsThatMeanNothingAreHandled) {
    Start();
    Ostra::IDeviceStackClient::IEventHandler* const handler = deviceStack_.GetEventHandler();
    ASSERT_NE(handler, nullptr);

    EXPECT_TRUE(handler->OnConfigurationChanged(1));
    EXPECT_TRUE(handler->OnEventEmitted("configurationLoaded"));
    EXPECT_TRUE(handler->OnConnectionChanged(false));

    ExpectHostLines({});
}

TEST_F(ProgramEvents, NothingStartsAgainAfterExit) {
    Start();
    ASSERT_EQ(sut_->Exit(), Exited);
    ASSERT_TRUE(WaitForLine("[App] OnExpiry - DeviceResetTimer stopped."));
    Forget();
    const std::size_t threads = CountThreads();

    EXPECT_TRUE(Send(Alive, "3.1:1"));
    EXPECT_TRUE(Send(State, "3.1:2"));
    EXPECT_FALSE(Send(ValueOfCo(SwitchCo), "2.1:1"));
    EXPECT_FALSE(Send(ValueOfCo(TextCo), LongText));
    EXPECT_FALSE(stack_.GroupValues().SendWrite(SwitchCo, TestSupport::MakeGroupValue({1})));

    ExpectHostLines({Received(Alive, "3.1:1"),
                     {"DEBUG", "[App] OnValueChanged - " + std::to_string(Alive) + ": AppHost alive received."},
                     Received(State, "3.1:2"),
                     Received(ValueOfCo(SwitchCo), "2.1:1"),
                     Received(ValueOfCo(TextCo), LongText),
                     {"ERROR", "[App] UpdateCoValue - No messenger available to set value"}});
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);
    EXPECT_EQ(CountThreads(), threads);
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
    EXPECT_TRUE(Writes().empty());
    EXPECT_TRUE(GetChildren().empty());
    EXPECT_FALSE(HasLine("DeviceResetTimer"));
}

TEST_F(ProgramEvents, ExitDisarmsTheTimer) {
    Start();

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(WaitForLine("[App] OnExpiry - DeviceResetTimer stopped."));
}

TEST_F(ProgramEvents, RestartDisarmsTheTimer) {
    Start();
    Unload();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(WaitForLine(Aborted));
    EXPECT_TRUE(WaitForLine("[App] OnExpiry - DeviceResetTimer stopped."));
}

TEST_F(ProgramEvents, HeartbeatDuringARestartDoesNotArmTheTimer) {
    Start();
    Unload();
    clock_->onJoin = [this] { EXPECT_TRUE(Send(Alive, "3.1:1")); };

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(HasLine("AppHost alive received."));
    EXPECT_FALSE(HasLine("DeviceResetTimer started."));
}

TEST_F(ProgramEvents, HeartbeatDuringExitDoesNotArmTheTimer) {
    Start();
    clock_->onJoin = [this] { EXPECT_TRUE(Send(Alive, "3.1:1")); };

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(HasLine("AppHost alive received."));
    EXPECT_FALSE(HasLine("DeviceResetTimer started."));
}

TEST_F(ProgramEvents, RestartStopsTheTickers) {
    Start();
    Unload();
    ASSERT_TRUE(Send(ValueOfCo(TextCo), LongText));
    clock_->onJoin = [this] { EXPECT_FALSE(Send(ValueOfCo(TextCo), LongText)) << "a text during a restart"; };
    const std::size_t threads = CountThreads();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(WaitForLine(Aborted));
    EXPECT_TRUE(WaitUntil([threads] { return CountThreads() < threads; })) << "the ticker still runs";
    const auto writes = Writes();
    clock_->Advance(boost::chrono::hours(1));
    EXPECT_TRUE(Send(ValueOfCo(SwitchCo), "2.1:1")) << "values pass again";
    EXPECT_EQ(Writes().size(), writes.size() + 1);
    EXPECT_TRUE(Send(ValueOfCo(TextCo), "5.1:Short")) << "and texts";
}

TEST_F(ProgramEvents, ExitStopsTheTickersAndRefusesValues) {
    Start();
    ASSERT_TRUE(Send(ValueOfCo(TextCo), LongText));
    clock_->onJoin = [this] {
        EXPECT_FALSE(Send(ValueOfCo(TextCo), LongText));
        EXPECT_FALSE(Send(ValueOfCo(SwitchCo), "2.1:1"));
    };
    const std::size_t threads = CountThreads();

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(WaitUntil([threads] { return CountThreads() < threads; })) << "the ticker still runs";
    clock_->Advance(boost::chrono::hours(1));
    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"ABCDEFGHIJKLMN"}));
}

}  // namespace
