#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "DebugModeFixture.h"

namespace {

using namespace Program;

/// The run states that the device stack takes are not reported before the next cycle is about to launch.
class ProgramStaleRunState : public ProgramDebugMode {
protected:
    /// The debug mode is on, and is about to be switched off.
    void GivenDebugMode() {
        StartManaged();
        SwitchAndWait(On);
        Report(AppHostControlState::Stopped);
        Forget();
        client_.onSend = [this, pending = true](const std::string& json) mutable {
            if (pending && json.find("configurationLoaded") != std::string::npos) {
                pending = false;
                for (const std::string& value : GetWrittenStates()) {
                    Send(State, value);
                }
            }
        };
        clock_->onCycleSleep = [this] {
            hasWaited_ = hasWaited_ || HasLine("Waiting for app host and connector app host to have started.");
            Report(AppHostControlState::Running);
        };
    }
    Requests GetWrittenStates() const {
        Requests states;
        for (const std::string& request : deviceStack_.GetRequests()) {
            for (const char* const value : {"3.1:0", "3.1:2"}) {
                if (request == SetValue(State, value)) {
                    states.emplace_back(value);
                }
            }
        }
        return states;
    }
    void RestartAndExpectThatTheAppIsWaitedFor() {
        EXPECT_EQ(sut_->OnDeviceRestart(), Started);
        EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
        EXPECT_EQ(GetWrittenStates(), (Requests{"3.1:2", "3.1:0"}));
        EXPECT_TRUE(hasWaited_) << "the new cycle took the old run state for that of its app";
        EXPECT_EQ(GetChildren().size(), 2U);
    }

    std::atomic<bool> hasWaited_{false};
};

TEST_F(ProgramStaleRunState, OfTheDebugSwitchIsCorrectedByARestart) {
    GivenDebugMode();
    SwitchAndWait(Off);

    RestartAndExpectThatTheAppIsWaitedFor();
}

TEST_F(ProgramStaleRunState, ThatIsWrittenDuringTheRestartIsCorrected) {
    GivenDebugMode();
    std::atomic<bool> isWriting{false};
    client_.onSend = [this, &isWriting, report = client_.onSend](const std::string& json) {
        if (json.find(R"("value":"3.1:2")") != std::string::npos) {
            isWriting = true;
            WaitUntil([this] { return isReleased_.load(); });
        }
        report(json);
    };
    EXPECT_TRUE(Send(AppDebug, Off));
    ASSERT_TRUE(WaitUntil([&isWriting] { return isWriting.load(); }));
    // The restart looks at what was written, and must not go past a write that is under way.
    const auto release = ReleaseOnceThisThreadWaits([this] { return HasLine("Stopping all ticker threads."); });

    RestartAndExpectThatTheAppIsWaitedFor();
}

TEST_F(ProgramStaleRunState, ThatCannotBeCorrectedDoesNotKeepTheDeviceFromRestarting) {
    GivenDebugMode();
    SwitchAndWait(Off);
    client_.onSend = [](const std::string& json) {
        if (json == SetValue(State, "3.1:0")) {
            throw std::runtime_error("on fire");
        }
    };

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_TRUE(HasWholeLine({"ERROR", "[App] StopInitThread - Unexpected failure: on fire"}));
    EXPECT_TRUE(WaitForLine("[App] operator() - Thread finished."));
}

/// The device stack that the app ran with is gone, and "Stopped" with it. The one that has taken its place knows no
/// data point before the next cycle has published the object model, shows "Stopped" then, and reports what differs from
/// that.
class ProgramLostRunState : public ProgramFixture {
protected:
    void GivenANewDeviceStack() {
        Start();
        deviceStack_.Refuse(SetValue(Event, "3.1:1"), "no data point has the id");
        client_.onSend = [this](const std::string& json) { OnRequest(json); };
        clock_->onCycleSleep = [this] { OnCycleSleep(); };
    }

    bool IsLaunched() const { return HasLine("Launching app host"); }
    Requests GetWrittenStates() const {
        const std::string anyState = R"("id":)" + std::to_string(State) + R"(,"value")";
        const Requests requests = deviceStack_.GetRequests();
        Requests written;
        std::copy_if(requests.begin(), requests.end(), std::back_inserter(written),
                     [&anyState](const std::string& request) { return request.find(anyState) != std::string::npos; });
        return written;
    }

    /// What the new device stack does with a run state that it shows.
    std::function<void(const std::string& value)> onChange_ = [this](const std::string& value) { Send(State, value); };
    std::function<void()> onSleepBeforeLaunch_ = [] {};
    std::atomic<int> sleepsBeforeLaunch_{0};
    std::atomic<bool> hasWaitedForTheApp_{false};

private:
    void OnRequest(const std::string& json) {
        if (json.find("configurationChangeEnd") != std::string::npos) {
            shown_ = "3.1:0";
        }
        for (const char* const value : {"3.1:0", "3.1:3"}) {
            if (shown_ && *shown_ != value && json == SetValue(State, value)) {
                shown_ = value;
                onChange_(value);
            }
        }
    }
    void OnCycleSleep() {
        if (!IsLaunched()) {
            ++sleepsBeforeLaunch_;
            onSleepBeforeLaunch_();
            return;
        }
        hasWaitedForTheApp_ = true;
        Report(AppHostControlState::Running);
    }

    std::optional<std::string> shown_;
};

TEST_F(ProgramLostRunState, OfTheAppBeforeIsNotTakenForThatOfTheNextOne) {
    GivenANewDeviceStack();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_TRUE(hasWaitedForTheApp_) << "the new cycle took the old run state for that of its app";
    EXPECT_EQ(GetWrittenStates(),
              (Requests{SetValue(State, "3.1:0"), SetValue(State, "3.1:3"), SetValue(State, "3.1:0")}));
    EXPECT_FALSE(HasLine("The device stack does not report"));
}

TEST_F(ProgramLostRunState, ThatStaysWithoutReportIsWaitedForOneSecondAndTold) {
    GivenANewDeviceStack();
    onChange_ = [](const std::string&) {};

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    ASSERT_TRUE(WaitForLine("[App] operator() - Thread finished."));
    EXPECT_EQ(sleepsBeforeLaunch_.load() * Zandrel::Durations::RunStatePoll, boost::chrono::seconds(1));
    EXPECT_TRUE(HasWholeLine({"WARN",
                              "[App] EndRunStateOfEarlierApp - The device stack does not report that the app before "
                              "has stopped. Current run state:  Running (2)"}));
    EXPECT_TRUE(IsLaunched());
}

TEST_F(ProgramLostRunState, IsWaitedForOnlyUntilTheCycleIsStopped) {
    GivenANewDeviceStack();
    onChange_ = [](const std::string&) {};
    std::atomic<bool> isStopped{false};
    clock_->onJoin = [&isStopped, this] { isStopped = sleepsBeforeLaunch_ > 0; };
    onSleepBeforeLaunch_ = [&isStopped] { EXPECT_TRUE(WaitUntil([&isStopped] { return isStopped.load(); })); };
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    ASSERT_TRUE(WaitUntil([this] { return sleepsBeforeLaunch_ > 0; }));

    EXPECT_EQ(sut_->Exit(), Exited);

    EXPECT_EQ(sleepsBeforeLaunch_, 1);
    EXPECT_FALSE(IsLaunched());
    EXPECT_TRUE(HasLine("did not start AppHost."));
    EXPECT_FALSE(HasLine("The device stack does not report"));
}

}  // namespace
