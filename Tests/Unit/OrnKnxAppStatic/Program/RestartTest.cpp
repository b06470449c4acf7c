#include <optional>
#include <ostream>
#include <stdexcept>

#include "AllocationFault.h"
#include "ProgramFixture.h"
#include "ThreadShortage.h"

namespace {

using namespace Program;
using TestSupport::ThreadShortage;

class ProgramRestart : public ProgramFixture {};

const Lines Resetting{{"INFO", "[App] OnDeviceRestart - Resetting downloaded knx configuration"}};
const Lines Restarted{{"DEBUG", "[App] StartInitThread - Started a new thread for updating enabled objects."}};

TEST_F(ProgramRestart, LogsItsStepsInOrder) {
    Start();
    Unload();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(WaitForLine(Aborted));
    ExpectHostLines(UnloadedSignalled +
                    Lines{{"INFO", "[App] OnDeviceRestart - Signaled disabled KNX communication"},
                          {"INFO", "[App] OnDeviceRestart - Terminating App Host process"}} +
                    LinesOfAStop() + ThreadsStopped + Resetting + Restarted);
    EXPECT_EQ(deviceStack_.GetRequests(),
              (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"), Disable()}));
}

TEST_F(ProgramRestart, GoesOnWhenTheAppCannotBeSignalled) {
    Start();
    Unload();
    deviceStack_.Refuse(SetValue(Event, "3.1:3"), "no such point");

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(WaitForLine(Aborted));
    ExpectHostLines(UnloadedSignalled +
                    Lines{{"ERROR", "[App] DoSendAppControlEvent - Failed to send event '3': no such point"},
                          {"ERROR", "[App] OnDeviceRestart - Failed to signal disabled KNX communication"},
                          {"INFO", "[App] OnDeviceRestart - Terminating App Host process"}} +
                    LinesOfAStop() + ThreadsStopped + Resetting + Restarted);
    EXPECT_EQ(deviceStack_.GetRequests(),
              (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"), Disable()}));
}

TEST_F(ProgramRestart, BeforeInitStopsWhatRunsAndFails) {
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);

    ExpectHostLines(Lines({{"ERROR", "IndicateLoadState - No devicestack connection available! [CALL STACK]"},
                           {"INFO", "OnDeviceRestart - Missing logical device ID"},
                           {"INFO", "OnDeviceRestart - Terminating App Host process"}}) +
                    LinesOfAStopWithoutApp() +
                    Lines{{"DEBUG", "Terminate - Stopping all ticker threads."},
                          {"DEBUG", "OnDeviceRestart - IApiHub is nullptr!"}});
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
}

TEST_F(ProgramRestart, AfterExitFailsWithoutARequest) {
    Start();
    ASSERT_EQ(sut_->Exit(), Exited);
    Forget();

    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);

    ExpectHostLines((Lines{
        {"ERROR", "[App] IndicateLoadState - No devicestack connection available!"},
        {"ERROR", "[App] SignalAppHostKnxCommunicationState - Connection to device stack unavailable!"},
        {"ERROR", "[App] OnDeviceRestart - Failed to signal disabled KNX communication"},
        {"INFO", "[App] OnDeviceRestart - Terminating App Host process"},
        {"INFO", "Stop - Stop of app host requested."},
        {"INFO", "Stop - App: Waiting for app to terminate"},
        {"INFO", "Stop - Application terminated successfully."},
        {"INFO", "Stop - No running app host on this machine to be terminated"},
        {"DEBUG", "~MeasureDuration - Stopping app host took"},
        {"DEBUG", "Terminate - Stopping all ticker threads."},
        {"INFO", "[App] OnDeviceRestart - Resetting downloaded knx configuration"},
        {"ERROR", "[App] DisableLogicalKnxDevice - Connection to device stack unavailable!"},
        {"WARN", "[App] ResetConfiguration - Failed to disable device channel. Logical device: 1"},
        {"DEBUG", "[App] OnDeviceRestart - IApiHub is nullptr!"},
    }));
    EXPECT_EQ(deviceStack_.GetRequests(), Requests{});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramRestart, WithoutThreadsFailsAndALaterOneWorks) {
    Start();
    Unload();
    std::optional<ThreadShortage> shortage(std::in_place);

    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);

    ExpectHostLines(UnloadedSignalled +
                    Lines{{"INFO", "[App] OnDeviceRestart - Signaled disabled KNX communication"},
                          {"INFO", "[App] OnDeviceRestart - Terminating App Host process"}} +
                    LinesOfAStop() + ThreadsStopped + Resetting +
                    Lines{{"DEBUG", "[App] OnDeviceRestart - Failed to start init thread."}});
    EXPECT_TRUE(HasNoTimer());
    shortage.reset();
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    EXPECT_TRUE(WaitForLine(Aborted));
}

TEST_F(ProgramRestart, InitWithoutThreadsFails) {
    const ThreadShortage shortage;

    EXPECT_EQ(sut_->Init(stack_), Failure);

    ExpectHostLines((Lines{{"INFO", "ConnectDeviceStack - Create devicestack client connecting with localhost..."},
                           {"INFO", "ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client..."},
                           {"ERROR", "Init - StartInitThread() failed. [CALL STACK]"}}));
}

/// A step of a restart that throws, and what comes of it.
struct ThrowingRestartStep {
    const char* name;
    const char* request;  ///< whose sending throws; empty: the join does
    int result;
    Lines lines;
};

std::ostream& operator<<(std::ostream& stream, const ThrowingRestartStep& step) {
    return stream << step.name;
}

class ProgramRestartWithAThrowingStep : public ProgramFixture, public testing::WithParamInterface<ThrowingRestartStep> {
protected:
    void Throw() {
        const std::string request = GetParam().request;
        if (request.empty()) {
            clock_->onJoin = [] { throw std::runtime_error("on fire"); };
            return;
        }
        client_.onSend = [request](const std::string& json) {
            if (json.find(request) != std::string::npos) {
                throw std::runtime_error("on fire");
            }
        };
    }
};

TEST_P(ProgramRestartWithAThrowingStep, GoesThroughTheOthers) {
    Start();
    Unload();
    Throw();

    EXPECT_EQ(sut_->OnDeviceRestart(), GetParam().result);

    EXPECT_TRUE(WaitForLine("[App] OnExpiry - DeviceResetTimer stopped."));
    EXPECT_TRUE(HasLine("Terminate - Stopping all ticker threads."));
    EXPECT_TRUE(HasLine("[App] OnDeviceRestart - Resetting downloaded knx configuration"));
    EXPECT_TRUE(GetChildren().empty());
    Lines failures;
    for (const TestSupport::LogLine& line : TakeHostLines()) {
        if (line.level == "ERROR" || line.level == "WARN") {
            failures.push_back(line);
        }
    }
    EXPECT_EQ(failures, GetParam().lines);
}

const TestSupport::LogLine OnFire{"ERROR", "[App] OnDeviceRestart - Unexpected failure: on fire"};

INSTANTIATE_TEST_SUITE_P(
    Steps, ProgramRestartWithAThrowingStep,
    testing::Values(
        ThrowingRestartStep{"Unloaded",
                            "configurationUnloaded",
                            Started,
                            {{"ERROR",
                              "[App] IndicateLoadState - Error sending configurationUnloaded to devicestack! on "
                              "fire"}}},
        ThrowingRestartStep{"KnxCommunicationOff",
                            "3.1:3",
                            Started,
                            {OnFire, {"ERROR", "[App] OnDeviceRestart - Failed to signal disabled KNX communication"}}},
        ThrowingRestartStep{"Stop", "3.1:1", Started, {OnFire}},
        ThrowingRestartStep{"Join", "", Failure, {{"ERROR", "[App] StopInitThread - Unexpected failure: on fire"}}},
        ThrowingRestartStep{"Reset", "enabled", Started, {OnFire}}),
    [](const auto& instance) { return instance.param.name; });

/// A line of a restart that cannot be built: the one after `line`.
struct LostLine {
    const char* name;
    const char* line;
};

std::ostream& operator<<(std::ostream& stream, const LostLine& lost) {
    return stream << lost.name;
}

class ProgramRestartWithoutALine : public ProgramFixture, public testing::WithParamInterface<LostLine> {};

TEST_P(ProgramRestartWithoutALine, GoesThroughAllSteps) {
    Start();
    Unload();
    std::optional<TestSupport::AllocationFault> fault;
    const AppSideTools::LineHook hook(log_.GetLogger(), GetParam().line, [&fault] { fault.emplace(); });

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(fault);
    EXPECT_TRUE(fault->HasHappened());
    EXPECT_TRUE(HasWholeLine({"ERROR", "[App] OnDeviceRestart - Unexpected failure: std::bad_alloc"}));
    EXPECT_EQ(deviceStack_.GetRequests(),
              (Requests{Unloaded, SetValue(Event, "3.1:3"), SetValue(Event, "3.1:1"), Disable()}));
    EXPECT_TRUE(WaitForLine(Aborted));
}

INSTANTIATE_TEST_SUITE_P(Lines, ProgramRestartWithoutALine,
                         testing::Values(LostLine{"BeforeTheStop",
                                                  "OnDeviceRestart - Signaled disabled KNX communication"},
                                         LostLine{"BeforeTheReset", "Interrupting and joining the init thread took"}),
                         [](const auto& instance) { return instance.param.name; });

/// A cycle that is inside the stack when the host no longer waits for it: no interruption reaches it there.
class ProgramRestartOfAHeldCycle : public ProgramFixture {
protected:
    void SetUp() override {
        clock_->joinLimit = boost::chrono::milliseconds(20);
        clock_->onCycleSleep = [this] {
            ++polls_;
            Report(AppHostControlState::Running);
        };
        auto& appId = stack_.Application().Property(72);
        appId.ServeFrom([this](KnxStack::BinaryData& data) {
            const boost::this_thread::disable_interruption uninterrupted;
            isInside_ = true;
            WaitUntil([this] { return isReleased_.load(); });
            data = KnxStack::BinaryData({'A', 'p', 'p'});
            return true;
        });
        ASSERT_EQ(sut_->Init(stack_), Started);
        ASSERT_TRUE(WaitUntil([this] { return isInside_.load(); }));
        Forget();
    }
    void TearDown() override {
        isReleased_ = true;
        ProgramFixture::TearDown();
    }

    std::atomic<bool> isInside_{false};
    std::atomic<bool> isReleased_{false};
    std::atomic<int> polls_{0};
};

TEST_F(ProgramRestartOfAHeldCycle, FailsWithTheStepsBeforeDone) {
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);

    ExpectHostLines(
        Lines{{"INFO", "IndicateLoadState - Signal configurationUnloaded to devicestack."},
              {"INFO", "SignalAppHostKnxCommunicationState - Signal KNX communication 'off'."},
              {"INFO", "OnDeviceRestart - Signaled disabled KNX communication"},
              {"INFO", "OnDeviceRestart - Terminating App Host process"}} +
        LinesOfAStopWithoutApp() +
        Lines{{"DEBUG", "Terminate - Stopping all ticker threads."},
              {"FATAL", "InterruptAndJoinInitThread - Thread join timeout. Interrupting thread... [CALL STACK]"},
              {"DEBUG", "~MeasureDuration - Interrupting and joining the init thread took"},
              {"INFO", "OnDeviceRestart - Resetting downloaded knx configuration"},
              {"FATAL", "OnDeviceRestart - Stopping init thread failed. Do not restart. [CALL STACK]"}});
    EXPECT_EQ(deviceStack_.GetRequests(), (Requests{Unloaded, SetValue(Event, "3.1:3"), Disable()}));
}

TEST_F(ProgramRestartOfAHeldCycle, NextRestartStartsACycleThatPollsUntilTheHeldOneHasEnded) {
    ASSERT_EQ(sut_->OnDeviceRestart(), Failure);

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    ASSERT_TRUE(WaitUntil([this] { return polls_ > 10; }));
    EXPECT_FALSE(HasLine("Thread started."));
    EXPECT_TRUE(stack_.GetRunStates().empty());
    isReleased_ = true;

    EXPECT_TRUE(WaitForLine("[App] operator() - Starting reset timer."));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true}) << "only the second cycle reports";
    EXPECT_EQ(GetChildren().size(), 1U);
}

}  // namespace
