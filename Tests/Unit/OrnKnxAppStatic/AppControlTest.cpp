#include "AppControl.h"

#include <gtest/gtest.h>

#include "AppSideTools.h"
#include "DeviceStackConnection.h"
#include "ScriptedDeviceStack.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using AppSideTools::AppHostControlState;
using AppSideTools::FirstDevice;
using AppSideTools::HookedClock;
using AppSideTools::LineHook;
using AppSideTools::LogLine;
using AppSideTools::Report;
using AppSideTools::SecondDevice;
using boost::chrono::seconds;
using Zandrel::AppIdentity;

/// What the messenger sends for a value of the app-control state or event of the second device.
std::string SetState(int value) {
    return R"({"command":"SetValue","id":)" +
           std::to_string(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(2)) + R"(,"value":"3.1:)" +
           std::to_string(value) + R"("})";
}
std::string SetEvent(int value) {
    return R"({"command":"SetValue","id":)" +
           std::to_string(Zandrel::KnxOdsMapping::GetAppHostAppControlEventObjModelId(2)) + R"(,"value":"3.1:)" +
           std::to_string(value) + R"("})";
}

class AppControlTest : public testing::Test {
protected:
    AppControlTest() {
        identity_->SetAppId("A");
        processControl_.SetShutDownFunction([this] { return sut_.SendAppControlEventStop(); });
    }

    void Connect() {
        ASSERT_TRUE(connection_.ConnectDeviceStack());
        deviceStack_.TakeRequests();
        log_.TakeLines();
    }
    void ConnectAndIdentify() {
        Connect();
        identity_->SetLogicalDeviceId(SecondDevice);
    }

    void ExpectLines(const std::vector<LogLine>& lines) {
        EXPECT_EQ(AppSideTools::Comparable(log_.TakeLines()), lines);
    }
    void ExpectRequests(const std::vector<std::string>& requests) { EXPECT_EQ(deviceStack_.TakeRequests(), requests); }

    TestSupport::GlobalLogCapture log_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    std::shared_ptr<HookedClock> clock_ = std::make_shared<HookedClock>();
    const Zandrel::PrefixedLogger logger_{log_.GetLogger(), identity_};
    TestSupport::ScriptedDeviceStack deviceStack_;
    Zandrel::DeviceStackConnection connection_{logger_, clock_, deviceStack_.GetFactory(),
                                               TestSupport::ShortConnectionTimes()};
    Zandrel::AppHostProcessControl processControl_{log_.GetLogger(), clock_};
    Zandrel::AppControl sut_{logger_, connection_, identity_, processControl_};
};

TEST_F(AppControlTest, RunStateIsWrittenForTheLogicalDevice) {
    ConnectAndIdentify();

    sut_.SetAppHostRunstate(AppHostControlState::Running);

    ExpectRequests({SetState(2)});
    ExpectLines({});
}

TEST_F(AppControlTest, RunStateNeedsALogicalDevice) {
    Connect();

    sut_.SetAppHostRunstate(AppHostControlState::Running);

    ExpectRequests({});
    ExpectLines({{"ERROR", "[A] SetAppHostRunstate - Invalid Logical device ID."}});
}

TEST_F(AppControlTest, RunStateThatCannotBeWrittenIsReported) {
    identity_->SetLogicalDeviceId(SecondDevice);

    sut_.SetAppHostRunstate(AppHostControlState::Running);
    sut_.SetAppHostRunstate(AppHostControlState{7});

    ExpectLines({{"ERROR", "[A] SetAppHostRunstate - Failed to set runstate to 'Running (2)'."},
                 {"ERROR", "[A] SetAppHostRunstate - Failed to set runstate to ' (7)'."}});
}

TEST_F(AppControlTest, RunStateThatIsRefusedByTheConnectionIsReported) {
    ConnectAndIdentify();
    deviceStack_.LoseConnectionAt(R"("command":"SetValue")");
    EXPECT_FALSE(sut_.SignalAppHostKnxCommunicationState(SecondDevice, true));
    log_.TakeLines();

    sut_.SetAppHostRunstate(AppHostControlState::Stopped);

    ExpectLines({{"ERROR", "[A] SetAppHostRunstate - Failed to set runstate to 'Stopped (0)'."}});
}

TEST_F(AppControlTest, StaleRunStateIsOverwritten) {
    ConnectAndIdentify();

    for (const auto state :
         {AppHostControlState::Starting, AppHostControlState::Running, AppHostControlState::Stopping}) {
        Report(processControl_, state);
        sut_.CorrectStaleRunState();
        ExpectRequests({SetState(0)});
    }
    ExpectLines({});
}

TEST_F(AppControlTest, RunStateThatIsNotStaleIsLeftAlone) {
    ConnectAndIdentify();

    sut_.CorrectStaleRunState();
    Report(processControl_, AppHostControlState::Stopped);
    sut_.CorrectStaleRunState();

    ExpectRequests({});
    ExpectLines({});
}

TEST_F(AppControlTest, StaleRunStateOfNoDeviceIsLeftAlone) {
    Connect();
    Report(processControl_, AppHostControlState::Running);

    sut_.CorrectStaleRunState();

    ExpectRequests({});
    ExpectLines({});
}

TEST_F(AppControlTest, RunStateThatIsNotShownYetIsOverwritten) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState::Stopped);
    sut_.SetAppHostRunstate(AppHostControlState::Running);

    sut_.CorrectStaleRunState();
    sut_.CorrectStaleRunState();

    ExpectRequests({SetState(2), SetState(0)});
}

TEST_F(AppControlTest, EndedCycleWritesNoRunState) {
    ConnectAndIdentify();
    Zandrel::ThreadControl control;
    sut_.SetAppHostRunstate(AppHostControlState::Running, control);
    ExpectRequests({SetState(2)});
    control.running = false;

    sut_.SetAppHostRunstate(AppHostControlState::Running, control);

    ExpectRequests({});
}

TEST_F(AppControlTest, RunStateOfAnEndedCycleIsOverwrittenOnce) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState::Running);
    sut_.CorrectRunStateOfEndedCycle(false);
    ExpectRequests({});
    sut_.CorrectRunStateOfEndedCycle(true);
    ExpectRequests({SetState(0)});
    sut_.SetAppHostRunstate(AppHostControlState::Running);
    ExpectRequests({SetState(2)});

    sut_.CorrectRunStateOfEndedCycle(false);
    sut_.CorrectRunStateOfEndedCycle(false);

    ExpectRequests({SetState(0)});
}

TEST_F(AppControlTest, RunStateOfAnEarlierAppIsChangedToStoppedSoThatItIsReported) {
    ConnectAndIdentify();
    const Zandrel::ThreadControl control;
    for (const auto state :
         {AppHostControlState::Starting, AppHostControlState::Running, AppHostControlState::Stopping}) {
        Report(processControl_, state);
        clock_->onSleep = [this] {
            ExpectRequests({SetState(3), SetState(0)});
            Report(processControl_, AppHostControlState::Stopped);
        };

        sut_.EndRunStateOfEarlierApp(control);
    }

    EXPECT_EQ(clock_->sleeps.size(), 3U);
    ExpectLines({});
}

TEST_F(AppControlTest, WhereNoEarlierAppIsShownNothingIsWrittenOrWaitedFor) {
    ConnectAndIdentify();
    Zandrel::ThreadControl control;

    sut_.EndRunStateOfEarlierApp(control);
    Report(processControl_, AppHostControlState::Stopped);
    sut_.EndRunStateOfEarlierApp(control);
    Report(processControl_, AppHostControlState::Running);
    control.running = false;
    sut_.EndRunStateOfEarlierApp(control);

    ExpectRequests({});
    EXPECT_TRUE(clock_->sleeps.empty());
    ExpectLines({});
}

TEST_F(AppControlTest, KnxCommunicationIsSignalled) {
    Connect();

    EXPECT_TRUE(sut_.SignalAppHostKnxCommunicationState(SecondDevice, true));
    EXPECT_TRUE(sut_.SignalAppHostKnxCommunicationState(SecondDevice, false));

    ExpectRequests({SetEvent(2), SetEvent(3)});
    ExpectLines({{"INFO", "[A] SignalAppHostKnxCommunicationState - Signal KNX communication 'on'."},
                 {"INFO", "[A] SignalAppHostKnxCommunicationState - Signal KNX communication 'off'."}});
}

TEST_F(AppControlTest, KnxCommunicationNeedsAConnection) {
    EXPECT_FALSE(sut_.SignalAppHostKnxCommunicationState(FirstDevice, true));

    ExpectLines({{"ERROR", "[A] SignalAppHostKnxCommunicationState - Connection to device stack unavailable!"}});
}

TEST_F(AppControlTest, ConnectionThatGoesMeanwhileIsReported) {
    Connect();
    const LineHook hook(log_.GetLogger(), "Signal KNX communication", [this] { connection_.Disconnect(); });

    EXPECT_FALSE(sut_.SignalAppHostKnxCommunicationState(FirstDevice, true));

    ExpectLines({{"INFO", "[A] SignalAppHostKnxCommunicationState - Signal KNX communication 'on'."},
                 {"ERROR", "[A] DoSendAppControlEvent - Connection to device stack unavailable!"}});
}

TEST_F(AppControlTest, EventThatIsNotAnsweredTimesOut) {
    Connect();
    deviceStack_.Ignore(R"("command":"SetValue")");

    EXPECT_FALSE(sut_.SignalAppHostKnxCommunicationState(SecondDevice, false));

    ExpectLines({{"INFO", "[A] SignalAppHostKnxCommunicationState - Signal KNX communication 'off'."},
                 {"ERROR", "[A] DoSendAppControlEvent - Sending event '3' timed out"}});
}

TEST_F(AppControlTest, EventThatIsRefusedIsReportedWithTheReason) {
    Connect();
    deviceStack_.Refuse(R"("command":"SetValue")", "no such object");

    EXPECT_FALSE(sut_.SignalAppHostKnxCommunicationState(SecondDevice, true));

    ExpectLines({{"INFO", "[A] SignalAppHostKnxCommunicationState - Signal KNX communication 'on'."},
                 {"ERROR", "[A] DoSendAppControlEvent - Failed to send event '2': no such object"}});
}

TEST_F(AppControlTest, StopOfAnUnknownRunStateSendsNothing) {
    ConnectAndIdentify();

    EXPECT_FALSE(sut_.SendAppControlEventStop());

    ExpectRequests({});
    ExpectLines({{"ERROR",
                  "[A] SendAppControlEventStop - Requested to send termination to app but runstate is unknown. Do "
                  "nothing."}});
}

TEST_F(AppControlTest, StopOfAStoppedOrStoppingAppSendsNothing) {
    ConnectAndIdentify();

    for (const auto state : {AppHostControlState::Stopped, AppHostControlState::Stopping}) {
        Report(processControl_, state);
        EXPECT_TRUE(sut_.SendAppControlEventStop());
    }

    ExpectRequests({});
    ExpectLines({});
}

TEST_F(AppControlTest, StopOfARunningAppSendsTheShutDownEvent) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState::Running);

    EXPECT_TRUE(sut_.SendAppControlEventStop());

    ExpectRequests({SetEvent(1)});
    ExpectLines({{"INFO", "[A] SendAppControlEventStop - Sending shutdown signal as RSM event"}});
}

TEST_F(AppControlTest, StopInAnUnknownRunStateSendsTheShutDownEvent) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState{7});

    EXPECT_TRUE(sut_.SendAppControlEventStop());

    ExpectRequests({SetEvent(1)});
}

TEST_F(AppControlTest, StopOfAStartingAppIsSentOnceItRuns) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState::Starting);
    clock_->onSleep = [this] {
        ExpectRequests({});
        Report(processControl_, AppHostControlState::Running);
    };

    EXPECT_TRUE(sut_.SendAppControlEventStop());

    EXPECT_EQ(clock_->sleeps.size(), 1U);
    ExpectRequests({SetEvent(1)});
}

TEST_F(AppControlTest, StopOfAnAppThatDoesNotGetToRunFailsAfterFiveSeconds) {
    ConnectAndIdentify();
    Report(processControl_, AppHostControlState::Starting);
    const auto start = clock_->now;

    EXPECT_FALSE(sut_.SendAppControlEventStop());

    EXPECT_EQ(clock_->now - start, seconds(5));
    ExpectRequests({});
    ExpectLines({{"ERROR", "[A] SendAppControlEventStop - Run state did not change from starting to running"}});
}

TEST_F(AppControlTest, StopNeedsALogicalDevice) {
    Connect();
    Report(processControl_, AppHostControlState::Running);

    EXPECT_FALSE(sut_.SendAppControlEventStop());

    ExpectRequests({});
    ExpectLines({{"ERROR", "[A] SendAppControlEventStop - Invalid Logical device ID."}});
}

TEST_F(AppControlTest, StopNeedsAConnection) {
    identity_->SetLogicalDeviceId(SecondDevice);
    Report(processControl_, AppHostControlState::Running);

    EXPECT_FALSE(sut_.SendAppControlEventStop());

    ExpectLines({{"ERROR", "[A] SendAppControlEventStop - Connection to device stack unavailable!"}});
}

TEST_F(AppControlTest, StopWithoutRunStateAndProcessKillsNothing) {
    ConnectAndIdentify();

    processControl_.Stop();

    ExpectRequests({});
    ExpectLines({{"INFO", "Stop - Stop of app host requested."},
                 {"ERROR",
                  "[A] SendAppControlEventStop - Requested to send termination to app but runstate is unknown. Do "
                  "nothing."},
                 {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."},
                 {"INFO", "Stop - No running app host on this machine to be terminated"},
                 {"DEBUG", "~MeasureDuration - Stopping app host took"}});
}

}  // namespace
