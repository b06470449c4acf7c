#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AppSideTools.h"
#include "CapturingAppender.h"
#include "Children.h"
#include "FakeKnxStack.h"
#include "HookedClient.h"
#include "OrnKnxAppPrg.h"
#include "ProgramClock.h"
#include "ScriptedDeviceStack.h"
#include "Zandrel/KnxOdsMapping.h"

namespace Program {

using AppSideTools::Lines;
using AppSideTools::operator+;
using Requests = std::vector<std::string>;
using Zandrel::AppHostControlState;

// Results of the host's calls.
constexpr int Failure = 0;
constexpr int Exited = 1;
constexpr int Started = 2;

/// Data points of logical device 1.
const unsigned long State = Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(1);
const unsigned long Event = Zandrel::KnxOdsMapping::GetAppHostAppControlEventObjModelId(1);
const unsigned long AppDebug = Zandrel::KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId(1);
const unsigned long Alive = Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(1);
inline unsigned long ValueOfCo(std::uint16_t co) {
    return *Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, 1);
}

constexpr const char* Unloaded = R"({"command":"EmitEvent","eventType":"configurationUnloaded"})";
inline std::string SetValue(unsigned long id, const std::string& value) {
    return R"({"command":"SetValue","id":)" + std::to_string(id) + R"(,"value":")" + value + R"("})";
}
inline std::string Disable() {
    return R"({"command":"SetConfiguration","id":)" +
           std::to_string(Zandrel::KnxOdsMapping::GetLogicalKnxDeviceObjModelId(1)) +
           R"(,"properties":{"enabled":false}})";
}

inline const Lines UnloadedSignalled{
    {"INFO", "[App] IndicateLoadState - Signal configurationUnloaded to devicestack."},
    {"INFO", "[App] SignalAppHostKnxCommunicationState - Signal KNX communication 'off'."}};
inline const Lines ThreadsStopped{{"DEBUG", "Terminate - Stopping all ticker threads."},
                                  {"DEBUG", "~MeasureDuration - Interrupting and joining the init thread took"}};

/// The application program with an app "App" whose app host runs until it is killed. The app reports "Running" and,
/// when the host waits for that, "Stopped".
class ProgramFixture : public testing::Test {
protected:
    ProgramFixture() {
        AppSideTools::WorkingDirectory::MakeLink(TEST_CHILD, AppSideTools::AppHost);
        AppSideTools::WorkingDirectory::MakeFile("device/opt/userdata/orn/libornapp.so");
        deviceStack_.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000A14FF0102"}}})");
        stack_.DownloadApplication("App");
        clock_->onCycleSleep = [this] { Report(AppHostControlState::Running); };
        clock_->onHostSleep = [this] { Report(AppHostControlState::Stopped); };
        Create();
    }
    void TearDown() override {
        sut_.reset();
        EXPECT_TRUE(WaitUntil([] { return GetChildren().empty(); })) << "a process was left behind";
    }

    /// A new program, in place of the earlier one.
    void Create(const Zandrel::ConnectionTimes& times = {}) {
        Zandrel::Environment environment;
        environment.clock = clock_;
        environment.clientFactory = client_.GetFactory();
        environment.connectionTimes = times;
        environment.packageCheck = [this](const auto&, const auto&, const auto& control) {
            return packageCheck_(control);
        };
        sut_ = std::make_unique<Zandrel::OrnKnxAppPrg>(log_.GetLogger(), environment);
    }

    /// Brings the app up, and forgets the lines and requests until there.
    void Start() {
        ASSERT_EQ(sut_->Init(stack_), Started);
        ASSERT_TRUE(WaitForLine("[App] operator() - Thread finished."));
        ASSERT_EQ(GetChildren().size(), 1U);
        Forget();
    }
    void Forget() {
        log_.TakeLines();
        deviceStack_.TakeRequests();
    }

    /// The cycle of the next restart ends at its first check.
    void Unload() { stack_.Properties().WriteLoadEvent(4); }
    static constexpr const char* Aborted =
        "operator() - Init thread aborted because app prg interface object is currently unloaded.";

    bool Send(unsigned long id, const std::string& value) { return sut_->OnValueChanged(id, "valueChanged", value); }
    void Report(AppHostControlState state) { Send(State, "3.1:" + std::to_string(static_cast<int>(state))); }

    static bool WaitUntil(const std::function<bool()>& condition) {
        for (int i = 0; i < 10000; ++i) {
            if (condition()) {
                return true;
            }
            boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
        }
        return false;
    }
    bool HasLine(const std::string& text) const {
        const auto lines = log_.GetLines();
        return std::any_of(lines.begin(), lines.end(), [&text](const TestSupport::LogLine& line) {
            return line.text.find(text) != std::string::npos;
        });
    }
    /// This line, with its level.
    bool HasWholeLine(const TestSupport::LogLine& line) const {
        const auto lines = log_.GetLines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    /// A line that contains `text`; false when there is none within 10 s.
    bool WaitForLine(const std::string& text) const {
        return WaitUntil([this, &text] { return HasLine(text); });
    }

    /// The lines, which it forgets, without what differs from run to run: source lines, numbers of processes,
    /// durations, call stacks, and the lines of other threads: those of a cycle and of the reset timer's expiry.
    Lines TakeHostLines() {
        Lines lines = AppSideTools::Comparable(log_.TakeLines());
        const auto isOther = [](const TestSupport::LogLine& line) {
            return line.text.find("operator() - ") != std::string::npos ||
                   line.text.find("OnExpiry - ") != std::string::npos;
        };
        lines.erase(std::remove_if(lines.begin(), lines.end(), isOther), lines.end());
        for (auto& line : lines) {
            CutCallStack(line);
        }
        return lines;
    }

    /// An error without a prefix ends in " [", the call stack and "]".
    static void CutCallStack(TestSupport::LogLine& line) {
        const auto stack = line.text.find(" [");
        if ((line.level == "ERROR" || line.level == "FATAL") && line.text.front() != '[' && line.text.back() == ']') {
            line.text.erase(stack).append(" [CALL STACK]");
        }
    }

    /// Whether the reset timer refuses to be armed.
    bool HasNoTimer() {
        log_.TakeLines();
        Send(Alive, "3.1:1");
        return !HasLine("DeviceResetTimer started.");
    }
    /// Starts a cycle that is about to launch; the app is "Running" already, and does not stop.
    void GivenACycleBeforeItsLaunch() {
        clock_->onHostSleep = [] {};
        client_.Hold("configurationLoaded");
        ASSERT_EQ(sut_->Init(stack_), Started);
        ASSERT_TRUE(client_.WaitUntilHeld());
        Report(AppHostControlState::Running);
        Forget();
    }

    /// Acts when the host, which has stopped the app host, corrects its run state.
    void OnceStopHasLooked(std::function<void()> action) {
        client_.onSend = [this, action = std::move(action), pending = true](const std::string& json) mutable {
            if (pending && json.find(R"("value":"3.1:0")") != std::string::npos) {
                pending = false;
                EXPECT_TRUE(HasLine("Stop - No running app host on this machine to be terminated"));
                action();
            }
        };
    }

    /// The lines after the join of the cycle.
    Lines TakeLinesAfterJoin() {
        Lines lines = TakeHostLines();
        const auto join = std::find(
            lines.begin(), lines.end(),
            TestSupport::LogLine{"DEBUG", "~MeasureDuration - Interrupting and joining the init thread took"});
        lines.erase(lines.begin(), join == lines.end() ? join : std::next(join));
        return lines;
    }
    void ExpectHostLines(const Lines& lines) { EXPECT_EQ(TakeHostLines(), lines); }

    static std::vector<pid_t> GetChildren() { return TestSupport::GetChildren(::getpid()); }

    /// What a check of a managed app's package does.
    std::function<Zandrel::VerificationResult(const Zandrel::ThreadControl&)> packageCheck_ = [](const auto&) {
        return Zandrel::VerificationResult::SignatureOk;
    };
    AppSideTools::WorkingDirectory folder_;
    TestSupport::GlobalLogCapture log_;
    std::shared_ptr<ProgramClock> clock_ = std::make_shared<ProgramClock>();
    TestSupport::FakeKnxStack stack_;
    TestSupport::ScriptedDeviceStack deviceStack_;
    HookedClient client_{deviceStack_};
    std::unique_ptr<Zandrel::OrnKnxAppPrg> sut_;
};

/// What `Stop` logs of an app that reports "Stopped" and whose process is killed after that.
inline Lines LinesOfAStop() {
    return {{"INFO", "Stop - Stop of app host requested."},
            {"INFO", "[App] SendAppControlEventStop - Sending shutdown signal as RSM event"},
            {"INFO", "Stop - App: Waiting for app to terminate"},
            {"DEBUG", "[App] OnValueChanged - " + std::to_string(State) + ": valueChanged, 3.1:0"},
            {"INFO", "Stop - Application terminated successfully."},
            {"DEBUG", "KillProcess - Nothing to kill"},
            {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
            {"INFO", "KillProcess - App host killed"},
            {"INFO", "Stop - Waiting for app host process to exit"},
            {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
            {"FATAL", "Stop (SOURCE) - App host process exited with -1"},
            {"DEBUG", "~MeasureDuration - Stopping app host took"}};
}

/// What `Stop` logs where no app was ever started.
inline Lines LinesOfAStopWithoutApp() {
    return {{"INFO", "Stop - Stop of app host requested."},
            {"ERROR",
             "SendAppControlEventStop - Requested to send termination to app but runstate is unknown. Do "
             "nothing. [CALL STACK]"},
            {"ERROR", "Stop - Failed to send termination to application. Need to kill running processes."},
            {"INFO", "Stop - No running app host on this machine to be terminated"},
            {"DEBUG", "~MeasureDuration - Stopping app host took"}};
}

}  // namespace Program
