#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <cstdlib>
#include <stdexcept>

#include "DebugModeFixture.h"
#include "ThreadShortage.h"

namespace {

using namespace Program;
using Zandrel::VerificationResult;

Lines Switched(const std::string& value) {
    const std::string id = std::to_string(AppDebug);
    return {{"DEBUG", "[App] OnValueChanged - " + id + ": valueChanged, " + value},
            {"DEBUG",
             "[App] OnValueChanged - " + id + ": Set App Debug to " + (value == On ? "true" : "false") + " received."}};
}

const Lines ConnectorHostStopped{{"INFO", "StopManagedApp - Stop of managed connector host requested."},
                                 {"INFO", "StopManagedApp - Waiting for managed connector host to have terminated..."},
                                 {"INFO", "KillProcess (SOURCE) - Have to kill process App connector host"},
                                 {"INFO", "KillProcess - App connector host killed"},
                                 {"INFO", "StopManagedApp - Waiting for managed connector host process to exit"},
                                 {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                                 {"INFO", "StopManagedApp - Managed connector app host process exited with -1"},
                                 {"DEBUG", "~MeasureDuration - Stopping connector app host took"}};
const Lines ConnectorHostFound{
    {"DEBUG", "[App] operator() - Launch managed connector host"},
    {"INFO", "[App] GetAppConnectorHost - Try to find app connector host device/opt/ostra/bin/OrnAppConnectorHost.exe"},
    {"DEBUG", "[App] GetManagedAppDll - Found app at: device/opt/userdata/ornApp/1/App.dll"}};
const Lines ConnectorHostLaunched{
    {"INFO",
     "LaunchManagedApp - Launching app connector host (Command Line = /usr/bin/mono --runtime=v4.0 "
     "device/opt/ostra/bin/OrnAppConnectorHost.exe device/opt/userdata/ornApp/1/App.dll 127.0.0.1)."},
    {"INFO", "operator() - Launched managed app (pid: N)"}};

/// Takes the requests of the program that is created while it lives.
class Supervisor {
public:
    Supervisor() { setenv("ORN_SUPERVISOR", socket_.c_str(), 1); }
    ~Supervisor() { unsetenv("ORN_SUPERVISOR"); }
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    /// The oldest request; "nothing" where there is none.
    std::string TakeRequest() {
        boost::system::error_code error;
        acceptor_.non_blocking(true);
        Protocol::socket connection(context_);
        acceptor_.accept(connection, error);
        std::string text;
        boost::asio::read(connection, boost::asio::dynamic_buffer(text), error);
        return text.empty() ? "nothing" : text.substr(0, text.size() - 1);
    }

private:
    using Protocol = boost::asio::local::stream_protocol;

    const std::string socket_ = "supervisor";
    boost::asio::io_context context_;
    Protocol::acceptor acceptor_{context_, Protocol::endpoint(socket_)};
};

TEST_F(ProgramDebugMode, SwitchedOnStopsTheConnectorHost) {
    StartManaged();

    SwitchAndWait(On);

    ExpectLines(Switched(On) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode enabled"}} + ConnectorHostStopped +
                Lines{{"DEBUG", Done}});
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{SetValue(State, "3.1:0")});
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, SwitchedOffLaunchesTheConnectorHost) {
    StartManaged();
    SwitchAndWait(On);
    Forget();

    SwitchAndWait(Off);

    ExpectLines(Switched(Off) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode disabled"}} + ConnectorHostFound +
                ConnectorHostLaunched + Lines{{"DEBUG", Done}});
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{SetValue(State, "3.1:2")});
    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ProgramDebugMode, SwitchedToItsValueStartsNoTask) {
    StartManaged();
    EXPECT_TRUE(Send(AppDebug, Off));
    ExpectHostLines(Switched(Off) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode was already disabled"}});
    SwitchAndWait(On);
    Forget();

    EXPECT_TRUE(Send(AppDebug, On));

    ExpectHostLines(Switched(On) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode was already enabled"}});
    EXPECT_FALSE(HasLine(Done));
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
}

TEST_F(ProgramDebugMode, ValueThatIsNoBooleanIsIgnored) {
    StartManaged();

    EXPECT_FALSE(Send(AppDebug, "5.1:perhaps"));

    const std::string id = std::to_string(AppDebug);
    ExpectHostLines(
        {{"DEBUG", "[App] OnValueChanged - " + id + ": valueChanged, 5.1:perhaps"},
         {"ERROR", "[App] OnValueChanged - " + id + ": Ignoring a value for App Debug that is no boolean"}});
}

TEST_F(ProgramDebugMode, NativeAppIsNotDebugged) {
    stack_.DownloadApplication("App", 0);
    Start();

    EXPECT_TRUE(Send(AppDebug, On));

    ExpectHostLines(
        Switched(On) +
        Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode enabled"},
              {"INFO",
               "SetAppDebugMode (SOURCE) - Debug mode is only enabled for orn knx programmable, otherwise this "
               "function did nothing!"}});
    EXPECT_FALSE(HasLine(Done));
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, SwitchedOnForANativeAppAndOffForAManagedOneLaunchesNothing) {
    stack_.DownloadApplication("App", 0);
    Start();
    EXPECT_TRUE(Send(AppDebug, On));
    stack_.DownloadApplication("App", 1);
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    ASSERT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    const std::vector<pid_t> children = GetChildren();
    ASSERT_EQ(children.size(), 2U) << "the native app's switch stops no connector host";
    Forget();

    SwitchAndWait(Off);

    ExpectLines(Switched(Off) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode disabled"}, {"DEBUG", Done}});
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
    EXPECT_EQ(GetChildren(), children);
}

TEST_F(ProgramDebugMode, FailedRelaunchSwitchesTheRunLedOff) {
    Supervisor supervisor;
    Create();
    StartManaged();
    SwitchAndWait(On);
    Forget();
    packageCheck_ = [](const auto&) { return VerificationResult::Corrupt; };

    SwitchAndWait(Off);

    ExpectLines(Switched(Off) + Lines{{"INFO", "SetAppDebugMode (SOURCE) - Debug mode disabled"}} + ConnectorHostFound +
                Lines{{"DEBUG", "[App] operator() - Switching RUN led off."}, {"DEBUG", Done}});
    EXPECT_EQ(supervisor.TakeRequest(), R"({"request":"runLedOff","from":13,"to":2})");
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{SetValue(State, "3.1:0")});
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, RelaunchThatThrowsIsAFailedOne) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    packageCheck_ = [](const auto&) -> VerificationResult { throw std::runtime_error("on fire"); };

    SwitchAndWait(Off);

    EXPECT_TRUE(HasWholeLine({"ERROR", "[App] LaunchManagedApp - Unexpected failure: on fire"}));
    EXPECT_TRUE(HasWholeLine({"DEBUG", "[App] operator() - Switching RUN led off."}));
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{SetValue(State, "3.1:0")});
}

TEST_F(ProgramDebugMode, FailedRelaunchDoesNotHinderTheNextOne) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    packageCheck_ = [](const auto&) { return VerificationResult::Corrupt; };
    SwitchAndWait(Off);
    Forget();
    SwitchAndWait(On);
    Forget();
    packageCheck_ = [](const auto&) { return VerificationResult::SignatureOk; };

    SwitchAndWait(Off);

    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ProgramDebugMode, SecondOfTwoQuickTogglesWaitsForTheFirst) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    HoldPackageCheck();
    EXPECT_TRUE(Send(AppDebug, Off));
    ASSERT_TRUE(WaitUntil([this] { return isChecking_.load(); }));

    EXPECT_TRUE(Send(AppDebug, On));

    EXPECT_FALSE(HasLine("StopManagedApp"));
    isReleased_ = true;
    EXPECT_TRUE(WaitForLine("[App] operator() - Set app debug mode done."));
    EXPECT_TRUE(WaitForLine("Managed connector app host process exited with -1"));
    EXPECT_TRUE(WaitUntil([this] { return deviceStack_.GetRequests().size() == 2; }));
    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{SetValue(State, "3.1:2"), SetValue(State, "3.1:0")}));
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, TenQuickTogglesEndAsTheLastOneSays) {
    StartManaged();
    constexpr int Toggles = 10;

    for (int i = 0; i < Toggles; ++i) {
        EXPECT_TRUE(Send(AppDebug, i % 2 == 0 ? On : Off));
    }

    EXPECT_TRUE(WaitUntil([this] {
        const auto lines = log_.GetLines();
        return Toggles == std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.text == Done; });
    }));
    Requests states;
    for (int i = 0; i < Toggles; ++i) {
        states.push_back(SetValue(State, i % 2 == 0 ? "3.1:0" : "3.1:2"));
    }
    EXPECT_EQ(deviceStack_.GetRequests(), states);
    EXPECT_EQ(GetChildren().size(), 2U);
    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, SwitchedOnDuringALaunchNoConnectorHostRuns) {
    HoldPackageCheck();
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitUntil([this] { return isChecking_.load(); }));

    SwitchAndWait(On);
    isReleased_ = true;

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasWholeLine({"DEBUG", "LaunchManagedApp - Debug mode set, did not launch connector host!"}));
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, SwitchedOnWhileTheAppIsWaitedForTheConnectorHostIsStoppedAndTheWaitGoesOn) {
    clock_->onCycleSleep = [this, pending = true]() mutable {
        if (!pending) {
            Report(AppHostControlState::Running);
        } else if (HasLine("Waiting for app host and connector app host to have started.")) {
            pending = false;
            EXPECT_EQ(GetChildren().size(), 2U);
            SwitchAndWait(On);
            Report(AppHostControlState::Stopped);
            EXPECT_FALSE(HasLine("LaunchApp - Done"));
        }
    };

    ASSERT_EQ(sut_->Init(stack_), Started);

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasWholeLine({"INFO", "StopManagedApp - Managed connector app host process exited with -1"}));
    EXPECT_THAT(deviceStack_.GetRequests(), testing::Contains(SetValue(State, "3.1:0")));
    EXPECT_TRUE(HasWholeLine({"INFO", "[App] LaunchApp - Done: app host and connector app host running."}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true});
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ProgramDebugMode, SwitchedOffWhileACycleThatSawItIsUnderWayTheConnectorHostIsLaunched) {
    StartManaged();
    SwitchAndWait(On);
    client_.Hold(R"("id":)" + std::to_string(Event) + R"(,"value":"3.1:2")");
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    ASSERT_TRUE(client_.WaitUntilHeld());
    EXPECT_TRUE(HasWholeLine({"DEBUG", "[App] operator() - Debug mode set, did not launch app host!"}));
    Forget();

    SwitchAndWait(Off);

    EXPECT_FALSE(HasLine("Thread finished."));
    EXPECT_TRUE(HasLine("operator() - Launched managed app (pid: "));
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{SetValue(State, "3.1:2")});
    client_.AnswerHeld();
    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_EQ(GetChildren().size(), 1U) << "the app host was not launched";
}

TEST_F(ProgramDebugMode, PackageCheckUnderWayWhenTheProgramExitsIsInterrupted) {
    packageCheck_ = [this](const Zandrel::ThreadControl& control) {
        isChecking_ = true;
        EXPECT_TRUE(WaitUntil([&control] { return !control.running; }));
        return VerificationResult::Corrupt;
    };
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitUntil([this] { return isChecking_.load(); }));

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(HasWholeLine({"INFO", "[App] LaunchManagedApp - Interruption signaled."}));
    EXPECT_TRUE(HasWholeLine({"FATAL", "[App] LaunchApp - Starting managed connectorAppHost failed."}));
    EXPECT_FALSE(HasLine("Thread join timeout"));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, SwitchedOnDuringARestartNothingIsLaunched) {
    StartManaged();
    clock_->onJoin = [this] { EXPECT_TRUE(Send(AppDebug, On)); };

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasWholeLine({"DEBUG", "[App] operator() - Debug mode set, did not launch app host!"}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, SwitchedOffDuringARestartTheNewCycleLaunches) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    clock_->onJoin = [this] { EXPECT_TRUE(Send(AppDebug, Off)); };

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasWholeLine({"INFO", "[App] LaunchManagedApp - Interruption signaled."}));
    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ProgramDebugMode, SwitchedOffAfterAFailedRestartLaunchesNothing) {
    StartManaged();
    SwitchAndWait(On);
    {
        const TestSupport::ThreadShortage shortage;
        EXPECT_EQ(sut_->OnDeviceRestart(), Failure);
    }
    Forget();

    SwitchAndWait(Off);

    EXPECT_TRUE(HasLine("LaunchManagedApp - Interruption signaled."));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, RestartInDebugModeLaunchesNothing) {
    StartManaged();
    SwitchAndWait(On);
    Forget();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(HasWholeLine({"DEBUG", "[App] operator() - Debug mode set, did not launch app host!"}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, LaunchUnderWayWhenTheProgramExitsStartsNothing) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    HoldPackageCheck();
    EXPECT_TRUE(Send(AppDebug, Off));
    ASSERT_TRUE(WaitUntil([this] { return isChecking_.load(); }));
    clock_->onJoin = [this] { isReleased_ = true; };

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_TRUE(HasLine(Done));
    EXPECT_TRUE(HasWholeLine({"INFO", "[App] LaunchManagedApp - Interruption signaled."}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, TaskOfADeletedProgramStartsNothing) {
    StartManaged();
    SwitchAndWait(On);
    Forget();
    HoldPackageCheck();
    EXPECT_TRUE(Send(AppDebug, Off));
    ASSERT_TRUE(WaitUntil([this] { return isChecking_.load(); }));
    const auto release = ReleaseOnceThisThreadWaits();

    sut_.reset();

    EXPECT_TRUE(HasLine(Done)) << "the task ends before the program";
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramDebugMode, SwitchHasNoEffectAfterExit) {
    StartManaged();
    ASSERT_EQ(sut_->Exit(), Exited);
    Forget();

    EXPECT_TRUE(Send(AppDebug, On));

    ExpectHostLines(Switched(On));
    EXPECT_FALSE(HasLine(Done));
}

TEST_F(ProgramDebugMode, WithoutThreadsTheSwitchStaysAsItIs) {
    StartManaged();
    {
        const TestSupport::ThreadShortage shortage;
        EXPECT_FALSE(Send(AppDebug, On));
    }
    EXPECT_TRUE(HasLine("[App] OnValueChanged - Unexpected failure: "));
    EXPECT_EQ(GetChildren().size(), 2U);
    Forget();

    SwitchAndWait(On);

    EXPECT_EQ(GetChildren().size(), 1U);
}

}  // namespace
