#include "AppHostProcessControl.h"

#include <boost/algorithm/string/case_conv.hpp>
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

const char* const Mono = "/usr/bin/mono";
const char* const Loopback = "127.0.0.1";

std::string CommandLine(const std::vector<std::string>& arguments) {
    return boost::algorithm::join(arguments, " ");
}

std::string Describe(const boost::system::error_code& error) {
    return error.message() + " (" + error.category().name() + ":" + std::to_string(error.value()) + ")";
}

std::string Capitalised(std::string text) {
    text.front() = boost::algorithm::to_upper_copy(text.substr(0, 1)).front();
    return text;
}

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
    connectorHost_.handle.Release();
    appHost_.handle.Release();
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
    Stop(lock, appHost_);
    if (appHost_.handle.HoldsProcess()) {
        return false;
    }
    ORN_LOG_PLAIN(logger_, INFO, "Launching app host (Command Line = " << CommandLine(arguments) << ").");
    // NOLINTBEGIN(bugprone-lambda-function-name): these two lines name the function operator()
    const auto spawn = [this, &arguments, &appName] {
        SpawnResult result = OrnProcessHandle::Spawn(arguments);
        if (result.error) {
            ORN_LOG_PLAIN(
                logger_, ERROR,
                "Failed to create app host process (" << arguments.front() << "), error: " << Describe(result.error));
            return false;
        }
        appHost_.handle = std::move(result.process);
        ORN_LOG_PLAIN(logger_, INFO, "Launched native app (pid: " << appHost_.handle << ")");
        appHost_.appId = appName;
        return true;
    };
    // NOLINTEND(bugprone-lambda-function-name)
    return spawn();
}

bool AppHostProcessControl::LaunchManagedApp(const ThreadControl& control, const boost::filesystem::path& connectorHost,
                                             const boost::filesystem::path& app, const std::string& appId) {
    const std::vector<std::string> arguments{Mono, "--runtime=v4.0", connectorHost.string(), app.string(), Loopback};

    const ProcessLock lock(processMutex_);
    if (!control.running) {
        ORN_LOG_PLAIN(logger_, INFO, "Interruption signaled.");
        return false;
    }
    // The debug switch sets this before it takes the lock to stop the connector host.
    if (configuration_.IsAppConnectorHostStartupDisabled()) {
        ORN_LOG_PLAIN(logger_, DEBUG, "Debug mode set, did not launch connector host!");
        connectorHost_.appId = appId;
        return true;
    }
    Stop(lock, connectorHost_);
    if (connectorHost_.handle.HoldsProcess()) {
        return false;
    }
    ORN_LOG_PLAIN(logger_, INFO, "Launching app connector host (Command Line = " << CommandLine(arguments) << ").");
    // NOLINTBEGIN(bugprone-lambda-function-name): as above
    const auto spawn = [this, &arguments, &connectorHost, &appId] {
        SpawnResult result = OrnProcessHandle::Spawn(arguments);
        if (result.error) {
            ORN_LOG_PLAIN(logger_, FATAL,
                          "Failed to create connector app host process (" << connectorHost.string()
                                                                          << "), error: " << Describe(result.error));
            return false;
        }
        connectorHost_.handle = std::move(result.process);
        ORN_LOG_PLAIN(logger_, INFO, "Launched managed app (pid: " << connectorHost_.handle << ")");
        connectorHost_.appId = appId;
        return true;
    };
    // NOLINTEND(bugprone-lambda-function-name)
    return spawn();
}

void AppHostProcessControl::Stop() {
    ORN_LOG_PLAIN(logger_, INFO, "Stop of app host requested.");
    const MeasureDuration duration(
        HoldsConnectorHost() ? "Stopping app host and connector app host took " : "Stopping app host took ", logger_);
    if (shutDown_()) {
        ORN_LOG_PLAIN(logger_, INFO, GetAppToStop() << ": Waiting for app to terminate");
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
    if (!HoldsProcess(lock)) {
        ORN_LOG_PLAIN(logger_, INFO, "No running app host on this machine to be terminated");
        return;
    }
    Stop(lock);
}

void AppHostProcessControl::StopManagedApp() {
    ORN_LOG_PLAIN(logger_, INFO, "Stop of managed connector host requested.");
    const ProcessLock lock(processMutex_);
    OrnProcessHandle& process = connectorHost_.handle;
    if (!process.HoldsProcess()) {
        ORN_LOG_PLAIN(logger_, INFO, "No running managed connector host process found");
        return;
    }
    const MeasureDuration duration("Stopping connector app host took ", logger_);
    ORN_LOG_PLAIN(logger_, INFO, "Waiting for managed connector host to have terminated...");
    KillProcess(process, connectorHost_.displayName);
    ORN_LOG_PLAIN(logger_, INFO, "Waiting for managed connector host process to exit");
    if (const std::optional<int> status = process.Wait(reapTimeout_)) {
        ORN_LOG_PLAIN(logger_, INFO, "Managed connector app host process exited with " << *status);
    } else {
        ORN_LOG_PLAIN(
            logger_, ERROR,
            "Managed connector app host process (pid: " << process << ") did not exit in time although it was killed");
    }
}

bool AppHostProcessControl::KillLeftOver() {
    const ProcessLock lock(processMutex_);
    if (!HoldsProcess(lock)) {
        return false;
    }
    Stop(lock);
    return true;
}

bool AppHostProcessControl::HoldsProcess(const ProcessLock& /*lock*/) const {
    return connectorHost_.handle.HoldsProcess() || appHost_.handle.HoldsProcess();
}

/// Kills both processes before it waits for the first: an app host without its connector host has nothing to wait for.
void AppHostProcessControl::Stop(const ProcessLock& lock) {
    const bool connectorHostRan = connectorHost_.handle.HoldsProcess();
    KillProcess(connectorHost_.handle, connectorHost_.displayName);
    KillProcess(appHost_.handle, appHost_.displayName);
    if (connectorHostRan) {
        Reap(lock, connectorHost_);
    }
    Reap(lock, appHost_);
}

/// Makes room for a process that takes the place of `process`.
void AppHostProcessControl::Stop(const ProcessLock& lock, AppProcess& process) {
    if (!process.handle.HoldsProcess()) {
        return;
    }
    KillProcess(process.handle, process.displayName);
    Reap(lock, process);
}

void AppHostProcessControl::Reap(const ProcessLock& /*lock*/, AppProcess& process) {
    static constexpr const char* Caller = "Stop";
    const std::string what = process.nameInSentence;
    ORN_LOG_LINE(logger_, INFO, Caller << " - Waiting for " << what << " to exit");
    const std::optional<int> status = process.handle.Wait(reapTimeout_);
    if (!status) {
        ORN_LOG_LINE(logger_, ERROR,
                     Caller << " - " << Capitalised(what) << " (pid: " << process.handle
                            << ") did not exit in time although it was killed");
    } else if (*status == 0) {
        ORN_LOG_LINE(logger_, INFO, Caller << " - " << Capitalised(what) << " exited with " << *status);
    } else {
        ORN_LOG_LINE(GetGlobalDefaultLogger(), FATAL,
                     PrettyFunctionNamePrinter(Caller, ORN_SOURCE_NAME, __LINE__)
                         << " - " << LoggingRecursionPadding{} << Capitalised(what) << " exited with " << *status);
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

/// The managed app, where there is one, even while a developer runs its connector host.
std::string AppHostProcessControl::GetAppToStop() const {
    const boost::lock_guard<boost::mutex> lock(processMutex_);
    const bool isManaged = connectorHost_.handle.HoldsProcess() || appHost_.appId == ConnectorApp;
    return isManaged ? connectorHost_.appId : appHost_.appId;
}

bool AppHostProcessControl::HoldsConnectorHost() const {
    const boost::lock_guard<boost::mutex> lock(processMutex_);
    return connectorHost_.handle.HoldsProcess();
}

}  // namespace Zandrel
