#include "ExpectedLines.h"

#include <array>
#include <utility>

namespace LifeCycle {

namespace {

const std::string Lost = "Connection to device stack lost.";
const std::string NotConnected = "Not connected to device stack.";
const std::string TimedOut;  ///< in place of an error: no answer

Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const std::string Took = "INFO ~MeasureDuration - ConfigureObjectModel(): ";
const std::string Retrieved = Took + "Retrieving configuration took";
const std::string DevicesSent = Took + "Setting up object model configuration took";
const std::string CosSent = Took + "Adding 520 COs to configuration took";
const std::string IpParametersSent = Took + "Adding 50 IP Parameters to configuration took";
const std::string NumberParametersSent = Took + "Adding 50 Number Parameters to configuration took";
const std::string TextParametersSent = Took + "Adding 50 Text Parameters to configuration took";

const std::string ThreadStarted = "DEBUG operator() - Thread started.";
const std::string ConfigurationStarted = "DEBUG operator() - Start to configure object model.";
const std::string Identified = "INFO GetLogicalKnxDeviceId - This is logical KNX device 1";
const std::string SwitchedOn = "INFO DeviceStackConfigurationIndicator - Switched on configuration change mode.";
const std::string SwitchedOff = "INFO ~DeviceStackConfigurationIndicator - Switched off configuration change mode.";
const std::string Configured = "INFO ConfigureObjectModel - Object model configured successfully.";
const std::string LoadedSignalled = "INFO IndicateLoadState - Signal configurationLoaded to devicestack.";
const std::string UnloadedSignalled = "INFO IndicateLoadState - Signal configurationUnloaded to devicestack.";
const std::string LaunchStarted = "DEBUG operator() - Launch app host.";
const std::string LaunchTook = "DEBUG ~MeasureDuration - Starting app host took";
const std::string RunStateError = "FATAL operator() - Set runstate to error";
const std::string SignalOn = "INFO SignalAppHostKnxCommunicationState - Signal KNX communication 'on'.";
const std::string SignalOff = "INFO SignalAppHostKnxCommunicationState - Signal KNX communication 'off'.";
const std::string ThreadFinished = "DEBUG operator() - Thread finished.";

const std::string ConfigurationInterrupted = "INFO ConfigureObjectModel - Interruption signaled.";
const std::string FinishedOnRequest = "INFO operator() - Finishing init thread as it has been requested to stop.";
const std::string NotStarted =
    "INFO operator() - Init thread canceled because app prg interface object is currently unloaded, did not start "
    "AppHost.";

const Lines Launched{LaunchStarted, "INFO GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost",
                     ("INFO LaunchNativeApp - Launching app host (Command Line = device/opt/ostra/bin/ornapphost "
                      "device/opt/userdata/orn/libornmyapp.so 1)."),
                     "INFO operator() - Launched native app (pid: N)",
                     "DEBUG LaunchApp - Waiting for app host to have started."};
const Lines NotRunningInTime{"FATAL LaunchApp - Time-out waiting for running app host.", LaunchTook,
                             "INFO IndicateAppNotRunning - Switching RUN led off.",
                             "ERROR No supervisor: ORN_SUPERVISOR names no socket."};
const Lines TimerStarted{"DEBUG operator() - Starting reset timer.",
                         "DEBUG StartDeviceResetTimer - DeviceResetTimer started."};

/// What a cycle says after each stop, before the next one.
const Lines& LinesAfter(Stop stop) {
    static const std::array<Lines, StopCount> lines{
        {{},
         {ThreadStarted},
         {},
         {ConfigurationStarted},
         {Identified},
         {Retrieved},
         {SwitchedOn},
         {DevicesSent},
         {CosSent},
         {IpParametersSent},
         {NumberParametersSent},
         {TextParametersSent},
         {SwitchedOff, Configured},
         Lines{LoadedSignalled} + Launched,
         {"INFO LaunchApp - Done: app host running.", LaunchTook, "DEBUG operator() - Set runstate to running"},
         {SignalOn},
         TimerStarted + Lines{ThreadFinished},
         {}}};
    return lines[static_cast<std::size_t>(stop)];
}

Lines LinesBetween(Stop from, Stop to) {
    Lines lines;
    for (int stop = static_cast<int>(from); stop < static_cast<int>(to); ++stop) {
        lines = std::move(lines) + LinesAfter(static_cast<Stop>(stop));
    }
    return lines;
}

/// A stopped configuration sends no further batch.
Lines StoppedBeforeBatch(const std::string& batchSent) {
    return {ConfigurationInterrupted, batchSent, SwitchedOff, ThreadFinished};
}

std::string EventNotSent(int event, const std::string& error) {
    const std::string name = '\'' + std::to_string(event) + '\'';
    return error == TimedOut ? "ERROR DoSendAppControlEvent - Sending event " + name + " timed out"
                             : "ERROR DoSendAppControlEvent - Failed to send event " + name + ": " + error;
}
std::string CommunicationNotSignalled(const std::string& availability) {
    return "FATAL operator() - Failed to signal app host that knx group object communication is " + availability;
}
/// `function` could not emit the event `type`.
std::string NotEmitted(const std::string& function, const std::string& type, const std::string& error) {
    return "ERROR " + function + " - " +
           (error == TimedOut ? "Sending " + type + " to devicestack timed out!"
                              : "Error sending " + type + " to devicestack! " + error);
}
std::string StateNotSignalled(const std::string& state, const std::string& error) {
    return NotEmitted("IndicateLoadState", state, error);
}
std::string BeginNotSent(const std::string& error) {
    return NotEmitted("DeviceStackConfigurationIndicator", "configurationChangeBegin", error);
}
std::string EndNotSent(const std::string& error) {
    return NotEmitted("~DeviceStackConfigurationIndicator", "configurationChangeEnd", error);
}
std::string DocumentNotSent(const std::string& error) {
    return error == TimedOut ? "ERROR SetConfiguration - Configuration of object model timed out."
                             : "ERROR SetConfiguration - Configuration of object model failed: " + error;
}
std::string ConfigNotRetrieved(const std::string& error) {
    return error == TimedOut
               ? "ERROR GetLogicalKnxDeviceId - Retrieving value from devicestack timed out!"
               : "ERROR GetLogicalKnxDeviceId - Error retrieving configuration from devicestack! " + error;
}

/// How a cycle goes on without a device stack.
class Unheard {
public:
    /// `now`: the error of a request that waits; `later`: of those that follow.
    Unheard(std::string now, std::string later) : now_(std::move(now)), later_(std::move(later)) {}

    Lines LinesFrom(Stop at, bool wasKnown) const {
        switch (at) {
            case Stop::LoadStateWait:
            case Stop::ApplicationLoadState:
            case Stop::ObjectLoadStates:
            case Stop::Memory:
                return LinesBetween(at, Stop::DeviceConfig) + Unidentified(later_, wasKnown);
            case Stop::DeviceConfig:
                return Unidentified(now_, wasKnown);
            case Stop::Download:
                return Lines{Retrieved, BeginNotSent(later_)} + UnsentBatch(later_, DevicesSent);
            case Stop::ChangeBegin:
                return Lines{BeginNotSent(now_)} + UnsentBatch(later_, DevicesSent);
            case Stop::Devices:
            case Stop::Cos:
            case Stop::IpParameters:
            case Stop::NumberParameters:
            case Stop::TextParameters:
                return UnsentBatch(now_, LinesAfter(at).front());
            case Stop::ChangeEnd:
                return Lines{EndNotSent(now_), Configured} + LaunchedUnsaid(later_);
            case Stop::ConfigurationLoaded:
                return LaunchedUnsaid(now_);
            case Stop::RunningWait:
                return AppUnheard();
            case Stop::RunState:
                return Lines{SignalOn} + CommunicationUnsaid(later_);
            case Stop::KnxCommunication:
                return CommunicationUnsaid(now_);
            case Stop::Over:
                break;
        }
        return {};
    }

private:
    Lines RunStateErrorUnsaid(bool isDeviceKnown) const {
        const Lines lines{StateNotSignalled("configurationUnloaded", later_), RunStateError};
        return isDeviceKnown ? lines + Lines{SignalOff, EventNotSent(3, later_),
                                             CommunicationNotSignalled("unavailable"), ThreadFinished}
                             : lines + Lines{"FATAL operator() - Missing logical device ID", ThreadFinished};
    }
    Lines Unconfigured(bool isDeviceKnown) const {
        return Lines{"FATAL operator() - Failed to configure object model"} + RunStateErrorUnsaid(isDeviceKnown);
    }
    Lines Unidentified(const std::string& error, bool wasKnown) const {
        return Lines{ConfigNotRetrieved(error),
                     "ERROR ConfigureObjectModel - Unable to determine Logical KNX Device ID! Start impossible."} +
               Unconfigured(wasKnown);
    }
    Lines UnsentBatch(const std::string& error, const std::string& batchSent) const {
        return Lines{DocumentNotSent(error), batchSent, EndNotSent(later_)} + Unconfigured(true);
    }
    Lines AppUnheard() const {
        return NotRunningInTime + Lines{StateNotSignalled("configurationUnloaded", later_)} + RunStateErrorUnsaid(true);
    }
    Lines LaunchedUnsaid(const std::string& error) const {
        return Lines{StateNotSignalled("configurationLoaded", error)} + Launched + AppUnheard();
    }
    static Lines CommunicationUnsaid(const std::string& error) {
        return Lines{EventNotSent(2, error), CommunicationNotSignalled("available")} + TimerStarted +
               Lines{ThreadFinished};
    }

    const std::string now_;
    const std::string later_;
};

Lines LinesOfAStop(const Situation& situation) {
    Lines lines{"INFO Stop - Stop of app host requested."};
    switch (situation.runState) {
        case Situation::RunState::Unknown:
            lines = lines + Lines{
                                "ERROR SendAppControlEventStop - Requested to send termination to app but runstate "
                                "is unknown. Do nothing.",
                                "ERROR Stop - Failed to send termination to application. Need to kill running "
                                "processes."};
            break;
        case Situation::RunState::Running:
            lines.emplace_back("INFO SendAppControlEventStop - Sending shutdown signal as RSM event");
            [[fallthrough]];
        case Situation::RunState::Stopped:
            lines.emplace_back("INFO Stop - MyApp: Waiting for app to terminate");
            lines.emplace_back(situation.isAppHostAlive || situation.runState == Situation::RunState::Stopped
                                   ? "INFO Stop - Application terminated successfully."
                                   : "ERROR Stop - App host did not stop in time (10 seconds). Current run state:  "
                                     "Running (2). Will kill it now");
            break;
    }
    return lines +
           (situation.isAppHostHeld
                ? Lines{"DEBUG KillProcess - Nothing to kill",
                        "INFO KillProcess (SOURCE) - Have to kill process App host",
                        "INFO KillProcess - App host killed", "INFO Stop - Waiting for app host process to exit",
                        "INFO Wait (SOURCE) - Child process was killed by signal 9",
                        "FATAL Stop (SOURCE) - App host process exited with -1"}
                : Lines{"INFO Stop - No running app host on this machine to be terminated"}) +
           Lines{"DEBUG ~MeasureDuration - Stopping app host took"};
}

Lines LinesOfTheThreadsEnd(const Situation& situation) {
    const Lines tickers{"DEBUG Terminate - Stopping all ticker threads."};
    const Lines took{"DEBUG ~MeasureDuration - Interrupting and joining the init thread took"};
    return situation.threadEnds
               ? tickers + took
               : tickers + Lines{"FATAL InterruptAndJoinInitThread - Thread join timeout. Interrupting thread..."} +
                     took;
}

}  // namespace

Lines LinesOfAnUndisturbedCycle(Stop from) {
    return LinesBetween(from, Stop::Over);
}

Lines LinesOfAStoppedCycle(Stop at) {
    switch (at) {
        case Stop::LoadStateWait:
        case Stop::ApplicationLoadState:
            return {ThreadStarted, FinishedOnRequest};
        case Stop::ObjectLoadStates:
        case Stop::Memory:
            return {ConfigurationStarted, Identified, ConfigurationInterrupted, ThreadFinished};
        case Stop::DeviceConfig:
            return {Identified, ConfigurationInterrupted, ThreadFinished};
        case Stop::Download:
            return {Retrieved, ConfigurationInterrupted, ThreadFinished};
        case Stop::ChangeBegin:
            return Lines{SwitchedOn} + StoppedBeforeBatch(DevicesSent);
        case Stop::Devices:
            return Lines{DevicesSent} + StoppedBeforeBatch(CosSent);
        case Stop::Cos:
            return Lines{CosSent} + StoppedBeforeBatch(IpParametersSent);
        case Stop::IpParameters:
            return Lines{IpParametersSent} + StoppedBeforeBatch(NumberParametersSent);
        case Stop::NumberParameters:
            return Lines{NumberParametersSent} + StoppedBeforeBatch(TextParametersSent);
        case Stop::TextParameters:
            return {TextParametersSent, SwitchedOff, Configured, NotStarted, ThreadFinished};
        case Stop::ChangeEnd:
            return {SwitchedOff, Configured, NotStarted, ThreadFinished};
        case Stop::ConfigurationLoaded:
            return {LoadedSignalled,
                    LaunchStarted,
                    "INFO LaunchApp - Interruption signaled.",
                    "INFO IndicateAppNotRunning - Switching RUN led off.",
                    "ERROR No supervisor: ORN_SUPERVISOR names no socket.",
                    UnloadedSignalled,
                    ThreadFinished};
        case Stop::RunningWait:
            return NotRunningInTime + Lines{UnloadedSignalled, ThreadFinished};
        case Stop::RunState:
            return {SignalOn, ThreadFinished};
        case Stop::KnxCommunication:
            return {ThreadFinished};
        case Stop::Over:
            break;
    }
    return {};
}

Lines LinesOfALoss(Stop at, bool wasKnown) {
    return Unheard(Lost, NotConnected).LinesFrom(at, wasKnown);
}

Lines LinesOfASilence(Stop at, bool wasKnown) {
    return Unheard(TimedOut, TimedOut).LinesFrom(at, wasKnown);
}

Lines LinesOfAnUnloadedCycle(Stop at) {
    switch (at) {
        case Stop::LoadStateWait:
        case Stop::ApplicationLoadState:
            return {"INFO operator() - Init thread aborted because app prg interface object is currently unloaded."};
        case Stop::ObjectLoadStates:
            return {"INFO operator() - Load state machines not loaded. This is normal during a download.",
                    ThreadFinished};
        default:
            return LinesOfAnUndisturbedCycle(at);
    }
}

Lines LinesOfACycleWithoutAppHost(Stop at) {
    if (at != Stop::RunningWait) {
        return LinesOfAnUndisturbedCycle(at);
    }
    return NotRunningInTime + Lines{UnloadedSignalled, UnloadedSignalled, RunStateError, SignalOff, ThreadFinished};
}

Lines LinesOfARestart(const Situation& situation) {
    const Lines signalled = situation.isDeviceKnown
                                ? Lines{SignalOff, "INFO OnDeviceRestart - Signaled disabled KNX communication"}
                                : Lines{"INFO OnDeviceRestart - Missing logical device ID"};
    const Lines reset =
        situation.isDeviceKnown ? Lines{"INFO OnDeviceRestart - Resetting downloaded knx configuration"} : Lines{};
    const Lines end = situation.threadEnds
                          ? Lines{"DEBUG StartInitThread - Started a new thread for updating enabled objects."}
                          : Lines{"FATAL OnDeviceRestart - Stopping init thread failed. Do not restart."};
    return Lines{UnloadedSignalled} + signalled + Lines{"INFO OnDeviceRestart - Terminating App Host process"} +
           LinesOfAStop(situation) + LinesOfTheThreadsEnd(situation) + reset + end;
}

Lines LinesOfAnExit(const Situation& situation) {
    const Lines signalled =
        situation.isDeviceKnown
            ? Lines{SignalOff, "INFO Exit - Signaled disabled KNX communication"}
            : Lines{"INFO Exit - Cannot signal KNX communication disabled because logical device id is unknown."};
    const Lines end = situation.threadEnds ? Lines{} : Lines{"WARN Exit - Failed to stop init thread."};
    return Lines{UnloadedSignalled} + signalled + LinesOfAStop(situation) + LinesOfTheThreadsEnd(situation) + end +
           Lines{"INFO ~MeasureDuration - Disconnecting from dsc took"};
}

const Lines LinesOfAnIgnoredRestart{
    UnloadedSignalled, "DEBUG OnDeviceRestart - Ignore device restart request because we already restarting"};

}  // namespace LifeCycle
