#include "AppHostProcessControl.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/chrono/chrono_io.hpp>
#include <boost/thread/lock_guard.hpp>
#include <utility>
#include <vector>

#include "Orn/Logging.h"
#include "Orn/MeasureDuration.h"

namespace Zandrel {

namespace {

// Numbers on the device's IPC bus
constexpr int OwnIpcProcess = 13;
constexpr int SupervisorIpcProcess = 2;

const char* const AppHostName = "App host";

}  // namespace

AppHostProcessControl::AppHostProcessControl(log4cplus::Logger logger, std::shared_ptr<Clock> clock,
                                             Clock::Duration reapTimeout)
    : logger_(std::move(logger)),
      clock_(std::move(clock)),
      reapTimeout_(reapTimeout),
      ipcClient_(OwnIpcProcess, SupervisorIpcProcess) {}

AppHostProcessControl::~AppHostProcessControl() {
    try {
        KillLeftOver();
    } catch (...) {  // NOLINT(bugprone-empty-catch): what cannot be logged is no reason to end the process
    }
    appHost_.Release();
}

void AppHostProcessControl::OnRunStateValue(const ZANVALUE& value) {
    const std::optional<std::int64_t> number = value.GetInteger();
    if (!number) {
        return;
    }
    const boost::lock_guard<boost::mutex> lock(runStateMutex_);
    runState_ = static_cast<AppHostControlState>(*number);
}

std::optional<AppHostControlState> AppHostProcessControl::GetRunState() const {
    const boost::lock_guard<boost::mutex> lock(runStateMutex_);
    return runState_;
}

bool AppHostProcessControl::WaitForRunState(AppHostControlState wanted, Clock::Duration timeout,
                                            const std::atomic<bool>& keepRunning) const {
    const Clock::TimePoint deadline = clock_->Now() + timeout;
    while (GetRunState() != wanted && clock_->Now() < deadline && keepRunning) {
        clock_->SleepFor(Durations::RunStatePoll);
    }
    return GetRunState() == wanted;
}

bool AppHostProcessControl::LaunchNativeApp(const ThreadControl& control, LogicalDeviceId id,
                                            const boost::filesystem::path& appHost,
                                            const boost::filesystem::path& library, const std::string& appName) {
    const std::vector<std::string> arguments{appHost.string(), library.string(), std::to_string(id.Value())};

    // Flag and launch are one step: whoever clears the flag and then takes the lock sees all that was launched.
    const ProcessLock lock(processMutex_);
    if (!control.running) {
        ORN_LOG_PLAIN(logger_, INFO, "Interruption signaled.");
        return false;
    }
    Stop(lock);
    if (appHost_.HoldsProcess()) {
        return false;
    }
    ORN_LOG_PLAIN(logger_, INFO,
                  "Launching app host (Command Line = " << boost::algorithm::join(arguments, " ") << ").");
    // NOLINTBEGIN(bugprone-lambda-function-name): these two lines name the function operator()
    const auto spawn = [this, &arguments, &appName] {
        SpawnResult result = OrnProcessHandle::Spawn(arguments);
        if (result.error) {
            ORN_LOG_PLAIN(logger_, ERROR,
                          "Failed to create app host process ("
                              << arguments.front() << "), error: " << result.error.message() << " ("
                              << result.error.category().name() << ":" << result.error.value() << ")");
            return false;
        }
        appHost_ = std::move(result.process);
        ORN_LOG_PLAIN(logger_, INFO, "Launched native app (pid: " << appHost_ << ")");
        launchedApp_ = appName;
        return true;
    };
    // NOLINTEND(bugprone-lambda-function-name)
    return spawn();
}

void AppHostProcessControl::Stop() {
    ORN_LOG_PLAIN(logger_, INFO, "Stop of app host requested.");
    const MeasureDuration duration("Stopping app host took ", logger_);
    if (shutDown_()) {
        ORN_LOG_PLAIN(logger_, INFO, GetLaunchedApp() << ": Waiting for app to terminate");
        const std::atomic<bool> keepRunning{true};
        if (WaitForRunState(AppHostControlState::Stopped, Durations::StoppedWait, keepRunning)) {
            ORN_LOG_PLAIN(logger_, INFO, "Application terminated successfully.");
        } else {
            ORN_LOG_PLAIN(logger_, ERROR,
                          "App host did not stop in time (" << Durations::StoppedWait << "). Current run state: "
                                                            << GetRunState() << ". Will kill it now");
        }
    } else {
        ORN_LOG_PLAIN(logger_, ERROR, "Failed to send termination to application. Need to kill running processes.");
    }
    const ProcessLock lock(processMutex_);
    if (!appHost_.HoldsProcess()) {
        ORN_LOG_PLAIN(logger_, INFO, "No running app host on this machine to be terminated");
        return;
    }
    Stop(lock);
}

bool AppHostProcessControl::KillLeftOver() {
    const ProcessLock lock(processMutex_);
    if (!appHost_.HoldsProcess()) {
        return false;
    }
    Stop(lock);
    return true;
}

/// Kills and reaps the process that is held, if there is one. `lock` is the one of `processMutex_`.
void AppHostProcessControl::Stop(const ProcessLock& /*lock*/) {
    if (!appHost_.HoldsProcess()) {
        return;
    }
    KillProcess(appHost_, AppHostName);
    ORN_LOG_PLAIN(logger_, INFO, "Waiting for app host process to exit");
    const std::optional<int> status = appHost_.Wait(reapTimeout_);
    if (!status) {
        ORN_LOG_PLAIN(logger_, ERROR,
                      "App host process (pid: " << appHost_ << ") did not exit in time although it was killed");
    } else if (*status == 0) {
        ORN_LOG_PLAIN(logger_, INFO, "App host process exited with " << *status);
    } else {
        ORN_LOG_GLOBAL(FATAL, "App host process exited with " << *status);
    }
}

void AppHostProcessControl::KillProcess(const OrnProcessHandle& process, const std::string& displayName) const {
    if (!process.HoldsProcess()) {
        ORN_LOG_PLAIN(logger_, DEBUG, "Nothing to kill");
        return;
    }
    ORN_LOG_GLOBAL(INFO, "Have to kill process " << displayName);
    if (const boost::system::error_code error = process.Kill()) {
        ORN_LOG_PLAIN(logger_, ERROR,
                      displayName << " failed to terminate (" << error.category().name() << ":" << error.value() << ", "
                                  << error.message() << ")");
        return;
    }
    ORN_LOG_PLAIN(logger_, INFO, displayName << " killed");
}

std::string AppHostProcessControl::GetLaunchedApp() const {
    const boost::lock_guard<boost::mutex> lock(processMutex_);
    return launchedApp_;
}

}  // namespace Zandrel
