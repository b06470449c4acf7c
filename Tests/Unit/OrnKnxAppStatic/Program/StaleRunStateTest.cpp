#include <atomic>
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

}  // namespace
