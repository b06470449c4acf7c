#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AppSideTools.h"
#include "CapturingAppender.h"
#include "FakeKnxStack.h"
#include "Gate.h"
#include "OrnKnxAppPrg.h"
#include "ScriptedDeviceStack.h"
#include "StoppableClock.h"
#include "StoppableHub.h"

namespace LifeCycle {

using Lines = std::vector<std::string>;

constexpr int Failure = 0;
constexpr int Exited = 1;
constexpr int Started = 2;

/// Which of the host's calls a cycle comes from.
enum class Origin { Init, Restart };

/// A whole application program: between a KNX stack and a device stack that do as they are told, with a real child
/// process for the app host. The test is the host. A cycle can be stopped anywhere.
class LifeCycleFixture : public testing::Test {
protected:
    LifeCycleFixture();
    /// Expects that nothing of the application program is left.
    ~LifeCycleFixture() override;

    /// Takes the place of the one that is there.
    void MakeProgram(const Zandrel::ConnectionTimes& times = {});

    /// What a call of the host did.
    struct Call {
        int result;
        Lines lines;  ///< of the host's thread
        Zandrel::Clock::Duration waits;
    };
    Call Measure(const std::function<int()>& call);
    Call Restart() {
        return Measure([this] { return sut_->OnDeviceRestart(); });
    }
    Call Exit() {
        return Measure([this] { return sut_->Exit(); });
    }

    /// Starts a cycle and waits until it is stopped.
    void StartCycle(Origin origin, Stop stop);
    /// Starts a first cycle and waits until it is stopped at a request that contains `text`; later ones pass.
    void StartCycleUntilRequest(const std::string& text);
    /// Lets the cycle go on.
    void Release();
    void WaitForCycleEnd();
    /// Once the cycle is over, a restart leads to an app that runs.
    void ExpectThatARestartWorks();

    /// The lines of the cycle since it was stopped: those of the KNX stack's reading left out.
    Lines GetCycleLines() const;

    void LoseConnection();
    void Reconnect();
    /// Requests are not answered any more, those that wait included.
    void FallSilent();
    void AnswerAgain();
    /// By an event of the KNX stack, which waits for the end of the cycle.
    void LoseLoadState();
    void LoadAgain() { isLoaded_ = true; }
    void KillAppHost();
    /// The next one is another one.
    void ForgetKilledAppHost() { isAppAlive_ = true; }
    static bool HasChild();

    int CountLines(const std::string& text) const;

    TestSupport::GlobalLogCapture log_;
    const AppSideTools::WorkingDirectory folder_;
    TestSupport::FakeKnxStack stack_;
    TestSupport::ScriptedDeviceStack deviceStack_;
    Gate gate_;
    StoppableHub hub_{stack_, gate_};
    const std::shared_ptr<StoppableClock> clock_ = std::make_shared<StoppableClock>(gate_);
    std::unique_ptr<Zandrel::OrnKnxAppPrg> sut_;

private:
    static std::string GetRequestText(Stop stop);
    void NoteStop();
    void PrepareKnxStack();
    void PrepareDeviceStack();
    void AcceptDeviceConfig();
    void PrepareClock();
    void CloseGate(Stop stop);

    const std::string hostThread_;
    const std::ptrdiff_t idleDescriptors_;
    std::ptrdiff_t idleThreads_ = 0;
    std::size_t linesAtStop_ = 0;
    bool isStopped_ = false;
    std::atomic<bool> isAppAlive_{true};
    std::atomic<bool> isLoaded_{true};
    std::atomic<bool> isKnxStackSilent_{false};  ///< no load events
    boost::thread loadEvent_;
};

}  // namespace LifeCycle
