#include <algorithm>
#include <boost/chrono/duration.hpp>
#include <ostream>

#include "ExpectedLines.h"
#include "LifeCycleFixture.h"

namespace LifeCycle {
namespace {

using boost::chrono::seconds;

/// What happens to a cycle while it is stopped.
enum class Event {
    Nothing,
    Restart,
    Exit,
    ExitAndDelete,
    DeviceStackLost,
    DeviceStackSilent,
    LoadStateLost,
    AppHostDies
};

/// When a cycle that was asked to end goes on: before the host has lost its patience, or later.
enum class Pace { InTime, TooLate };

struct Way {
    Origin origin;
    Stop stop;
    Event event;
    Pace pace;
};

std::ostream& operator<<(std::ostream& stream, const Way& way) {
    static constexpr std::array Events{"Nothing",         "Restart",           "Exit",          "ExitAndDelete",
                                       "DeviceStackLost", "DeviceStackSilent", "LoadStateLost", "AppHostDies"};
    return stream << (way.origin == Origin::Init ? "Init" : "Restart") << "StoppedAt" << way.stop << "Then"
                  << Events[static_cast<std::size_t>(way.event)] << (way.pace == Pace::TooLate ? "TooLate" : "");
}

/// Whether the host loses its patience with a cycle that is asked to end there.
bool CanBeTooLate(Stop stop) {
    return IsRequest(stop) || stop == Stop::LoadStateWait;
}

std::vector<Way> AllWays() {
    std::vector<Way> ways;
    for (const Origin origin : {Origin::Init, Origin::Restart}) {
        for (int i = 0; i < StopCount; ++i) {
            const auto stop = static_cast<Stop>(i);
            for (const Event event :
                 {Event::Nothing, Event::Exit, Event::ExitAndDelete, Event::DeviceStackLost, Event::LoadStateLost}) {
                ways.push_back({origin, stop, event, Pace::InTime});
            }
            if (origin == Origin::Restart && stop != Stop::Over) {
                ways.push_back({origin, stop, Event::Restart, Pace::InTime});  // which is ignored
            }
            if (stop >= Stop::RunningWait) {
                ways.push_back({origin, stop, Event::AppHostDies, Pace::InTime});
            }
            if (CanBeTooLate(stop)) {
                ways.push_back({origin, stop, Event::Exit, Pace::TooLate});
                ways.push_back({origin, stop, Event::ExitAndDelete, Pace::TooLate});
            }
            if (IsRequest(stop)) {
                ways.push_back({origin, stop, Event::DeviceStackSilent, Pace::InTime});
            }
        }
    }
    return ways;
}

/// The ways on which a restart ends the cycle.
std::vector<Way> WaysToARestart() {
    std::vector<Way> ways{{Origin::Restart, Stop::Over, Event::Restart, Pace::InTime}};
    for (int i = 0; i < StopCount; ++i) {
        const auto stop = static_cast<Stop>(i);
        ways.push_back({Origin::Init, stop, Event::Restart, Pace::InTime});
        if (CanBeTooLate(stop)) {
            ways.push_back({Origin::Init, stop, Event::Restart, Pace::TooLate});
        }
    }
    return ways;
}

class WayThroughACycle : public LifeCycleFixture, public testing::WithParamInterface<Way> {
protected:
    static Stop At() { return GetParam().stop; }
    static bool IsFirstCycle() { return GetParam().origin == Origin::Init; }
    static bool IsTooLate() { return GetParam().pace == Pace::TooLate; }

    /// What the host finds when it calls while the cycle is stopped.
    static Situation GetSituation() {
        using RunState = Situation::RunState;
        const RunState before = IsFirstCycle() ? RunState::Unknown : RunState::Stopped;
        return {!IsFirstCycle() || At() >= Stop::Download, At() >= Stop::RunState ? RunState::Running : before,
                At() >= Stop::RunningWait, true, !IsTooLate()};
    }
    static seconds GetExpectedWaits() { return seconds(IsTooLate() ? 4 : 0); }

    /// What a cycle that is asked to end leaves behind. One that is about to set the run state does so before the
    /// host's call returns.
    std::size_t CountRunStates() const { return stack_.GetRunStates().size() + (At() == Stop::RunState ? 1 : 0); }
    int CountTimers() const { return CountLines("Starting reset timer."); }

    /// A cycle that was asked to end reports nothing to the KNX stack and arms nothing.
    void ExpectQuietEnd(std::size_t runStates, int timers) {
        WaitForCycleEnd();
        EXPECT_EQ(stack_.GetRunStates().size(), runStates);
        EXPECT_EQ(CountTimers(), timers);
        if (!IsTooLate()) {
            EXPECT_EQ(GetCycleLines(), LinesOfAStoppedCycle(At()));
        } else if (At() == Stop::LoadStateWait) {
            EXPECT_EQ(GetCycleLines(), Lines{"DEBUG operator() - Thread has been interrupted."});
        } else if (const Lines lines = GetCycleLines(); !lines.empty()) {
            EXPECT_TRUE(lines.back() == "DEBUG operator() - Thread has been interrupted." ||
                        lines.back() == "DEBUG operator() - Thread finished.")
                << lines.back();
        }
    }

    void DoNothing() {
        Release();
        WaitForCycleEnd();
        EXPECT_EQ(GetCycleLines(), LinesOfAnUndisturbedCycle(At()));
        EXPECT_TRUE(stack_.GetRunStates().back());
        ExpectThatARestartWorks();
    }

    void IgnoreRestart() {
        const Call call = Restart();
        EXPECT_EQ(call.result, Started);
        EXPECT_EQ(call.lines, LinesOfAnIgnoredRestart);
        EXPECT_EQ(call.waits, seconds(0));
        DoNothing();
    }

    void RestartNow() {
        const std::size_t runStates = CountRunStates();
        const int timers = CountTimers();
        clock_->threadIsHeld = IsTooLate();
        const Call call = Restart();
        clock_->threadIsHeld = false;
        EXPECT_EQ(call.result, IsTooLate() ? Failure : Started);
        EXPECT_EQ(call.lines, LinesOfARestart(GetSituation()));
        EXPECT_EQ(call.waits, GetExpectedWaits());
        if (IsTooLate()) {
            ExpectThatARestartWorks();
        } else {
            WaitForCycleEnd();
            Lines lines = LinesOfAStoppedCycle(At());
            const Lines ofTheNext = LinesOfAnUndisturbedCycle(Stop::LoadStateWait);
            lines.insert(lines.end(), ofTheNext.begin(), ofTheNext.end());
            EXPECT_EQ(GetCycleLines(), lines);
        }
        // Those of the next cycle alone.
        EXPECT_EQ(stack_.GetRunStates().size(), runStates + 1);
        EXPECT_TRUE(stack_.GetRunStates().back());
        EXPECT_EQ(CountTimers(), timers + 1);
        ExpectThatARestartWorks();
    }

    void ExitNow(bool thenDelete) {
        const std::size_t runStates = CountRunStates();
        const int timers = CountTimers();
        clock_->threadIsHeld = IsTooLate();
        const Call call = Exit();
        EXPECT_EQ(call.result, Exited);
        EXPECT_EQ(call.lines, LinesOfAnExit(GetSituation()));
        EXPECT_EQ(call.waits, GetExpectedWaits());
        EXPECT_FALSE(HasChild());
        EXPECT_EQ(deviceStack_.GetEventHandler(), nullptr);
        if (thenDelete) {
            sut_.reset();
        }
        const int touches = stack_.CountTouches();
        Release();
        ExpectQuietEnd(runStates, timers);
        EXPECT_EQ(stack_.CountTouches(), touches);
        EXPECT_FALSE(HasChild());
    }

    void LoseDeviceStack() {
        LoseConnection();
        Release();
        WaitForCycleEnd();
        EXPECT_EQ(GetCycleLines(), LinesOfALoss(At(), !IsFirstCycle()));
        EXPECT_EQ(stack_.GetRunStates().back(), At() >= Stop::RunState);

        const Call call = Restart();
        EXPECT_EQ(call.result, Started);
        EXPECT_EQ(call.waits, seconds(0));
        WaitForCycleEnd();
        EXPECT_FALSE(stack_.GetRunStates().back());

        Reconnect();
        ExpectThatARestartWorks();
    }

    void SilenceDeviceStack() {
        FallSilent();
        Release();
        WaitForCycleEnd();
        Lines lines = GetCycleLines();
        lines.erase(std::remove(lines.begin(), lines.end(),
                                "WARN The device stack left 3 requests in a row without an answer."),
                    lines.end());
        EXPECT_EQ(lines, LinesOfASilence(At(), !IsFirstCycle()));
        std::vector<bool> runStates{At() == Stop::KnxCommunication};
        if (!IsFirstCycle()) {
            runStates.insert(runStates.begin(), true);
        }
        EXPECT_EQ(stack_.GetRunStates(), runStates);

        AnswerAgain();
        ExpectThatARestartWorks();
    }

    void Unload() {
        LoseLoadState();
        Release();
        WaitForCycleEnd();
        EXPECT_EQ(GetCycleLines(), LinesOfAnUnloadedCycle(At()));

        const int aborted = CountLines("Init thread aborted");
        EXPECT_EQ(Restart().result, Started);
        WaitForCycleEnd();
        EXPECT_EQ(CountLines("Init thread aborted"), aborted + 1);
        EXPECT_FALSE(HasChild());

        LoadAgain();
        ExpectThatARestartWorks();
    }

    void LoseAppHost() {
        KillAppHost();
        Release();
        WaitForCycleEnd();
        EXPECT_EQ(GetCycleLines(), LinesOfACycleWithoutAppHost(At()));
        EXPECT_EQ(stack_.GetRunStates().back(), At() >= Stop::RunState);

        Situation situation = GetSituation();
        situation.isAppHostAlive = false;
        const Call call = Restart();
        EXPECT_EQ(call.result, Started);
        EXPECT_EQ(call.lines, LinesOfARestart(situation));
        EXPECT_EQ(call.waits, seconds(At() >= Stop::RunState ? 10 : 0));
        WaitForCycleEnd();

        ForgetKilledAppHost();
        ExpectThatARestartWorks();
    }
};

TEST_P(WayThroughACycle, EndsAsItIsMeantToAndLeavesNothingBehind) {
    if (GetParam().event == Event::DeviceStackSilent) {
        MakeProgram(TestSupport::ShortConnectionTimes());
    }
    StartCycle(GetParam().origin, At());
    switch (GetParam().event) {
        case Event::Nothing:
            DoNothing();
            break;
        case Event::Restart:
            IgnoreRestart();
            break;
        case Event::Exit:
            ExitNow(false);
            return;
        case Event::ExitAndDelete:
            ExitNow(true);
            return;
        case Event::DeviceStackLost:
            LoseDeviceStack();
            break;
        case Event::DeviceStackSilent:
            SilenceDeviceStack();
            break;
        case Event::LoadStateLost:
            Unload();
            break;
        case Event::AppHostDies:
            LoseAppHost();
            break;
    }
    EXPECT_EQ(Exit().result, Exited);
}

INSTANTIATE_TEST_SUITE_P(All, WayThroughACycle, testing::ValuesIn(AllWays()), testing::PrintToStringParamName());

class RestartDuringACycle : public WayThroughACycle {};

TEST_P(RestartDuringACycle, EndsItEarlyWithoutARunStateOrATimerAndTheNextCycleHasBoth) {
    StartCycle(GetParam().origin, At());
    RestartNow();
    EXPECT_EQ(Exit().result, Exited);
}

INSTANTIATE_TEST_SUITE_P(All, RestartDuringACycle, testing::ValuesIn(WaysToARestart()),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace LifeCycle
