#pragma once

#include <log4cplus/logger.h>

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "AppHostControlState.h"
#include "Orn/BoundedInt.h"
#include "Orn/Clock.h"
#include "Orn/Durations.h"
#include "Orn/ThreadControl.h"
#include "OrnProcessHandle.h"
#include "Zandrel/AppHostConfiguration.h"
#include "Zandrel/OrnIpcClientImpl.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

/// Owner of the app-host process, of the connector-host process that a managed app needs besides, and of the run state
/// that the app reports.
///
/// Callable from any thread. There is one process of each kind at most: whoever starts or ends one does so under one
/// lock, so that a process is signalled and reaped once, and none starts once a cycle's run flag is cleared and
/// `KillLeftOver` has returned. The run state has a lock of its own, never held across a wait.
class AppHostProcessControl {
public:
    /// The native app of every managed one.
    static constexpr const char* ConnectorApp = "ConnectorApp";

    /// A killed process is waited for `reapTimeout` at most, in real time. One that lasts longer (it hangs in the
    /// kernel) stays held, and the next stop or launch waits for it again; the destructor gives it up.
    AppHostProcessControl(log4cplus::Logger logger, std::shared_ptr<Clock> clock,
                          Clock::Duration reapTimeout = Durations::ReapWait);
    /// Ends like `KillLeftOver`.
    ~AppHostProcessControl();
    AppHostProcessControl(const AppHostProcessControl&) = delete;
    AppHostProcessControl& operator=(const AppHostProcessControl&) = delete;

    /// Sets what asks the app to shut down, which returns false where it could not be asked. Before the first `Stop`.
    void SetShutDownFunction(std::function<bool()> shutDown) { shutDown_ = std::move(shutDown); }

    AppHostConfiguration& GetConfiguration() noexcept { return configuration_; }
    OrnIpcClientImpl& GetIpcClient() noexcept { return ipcClient_; }

    /// The device stack has reported a run state; a value that is no integer is ignored.
    void OnRunStateValue(const ZANVALUE& value);
    /// None until the first report.
    std::optional<AppHostControlState> GetRunState() const;
    /// Waits until the run state is `wanted`, `timeout` has passed or `keepRunning` is false, and returns whether it is
    /// `wanted` then. The wait is a Boost interruption point.
    bool WaitForRunState(AppHostControlState wanted, Clock::Duration timeout,
                         const std::atomic<bool>& keepRunning) const;

    /// Starts `appHost` with `library` for logical device `id`, unless the run flag of `control` is cleared. A process
    /// that is still held is ended first. True when the program runs; a failure is logged.
    bool LaunchNativeApp(const ThreadControl& control, LogicalDeviceId id, const boost::filesystem::path& appHost,
                         const boost::filesystem::path& library, const std::string& appName);

    /// Starts mono with `connectorHost` and the managed app `app` in the same way. Starts nothing, which is no failure,
    /// when the debug switch has disabled the connector host in the meantime: a developer starts it then.
    bool LaunchManagedApp(const ThreadControl& control, const boost::filesystem::path& connectorHost,
                          const boost::filesystem::path& app, const std::string& appId);

    /// Asks the app to shut down, gives it 10 s to report "Stopped", and ends the processes that are still held. Throws
    /// `std::bad_function_call` when no shut-down function is set.
    void Stop();

    /// Ends the connector host alone, without asking the app.
    void StopManagedApp();

    /// Ends the processes that are still held, without asking the app; does nothing, silently, where there is none.
    /// Called when a cycle has been stopped, for what it launched after `Stop` had looked. False when there was none.
    bool KillLeftOver();

    /// Sends SIGKILL to the process of `process`. Does not reap. The caller keeps other threads off `process`.
    void KillProcess(const OrnProcessHandle& process, const std::string& displayName) const;

private:
    using ProcessLock = boost::unique_lock<boost::mutex>;

    /// One of the two processes.
    struct AppProcess {
        const char* displayName;
        const char* nameInSentence;
        OrnProcessHandle handle{};
        std::string appId{};  ///< what it was started with, by a developer too; empty before the first launch
    };

    // `lock` is the one of `processMutex_`.
    bool HoldsProcess(const ProcessLock& lock) const;
    void Stop(const ProcessLock& lock);
    void Stop(const ProcessLock& lock, AppProcess& process);
    void Reap(const ProcessLock& lock, AppProcess& process);

    std::string GetAppToStop() const;
    bool HoldsConnectorHost() const;

    const log4cplus::Logger logger_;
    const std::shared_ptr<Clock> clock_;
    const Clock::Duration reapTimeout_;
    std::function<bool()> shutDown_;

    AppHostConfiguration configuration_;
    OrnIpcClientImpl ipcClient_;

    mutable boost::mutex runStateMutex_;  ///< guards runState_
    std::optional<AppHostControlState> runState_;

    mutable boost::mutex processMutex_;  ///< guards what follows
    AppProcess appHost_{"App host", "app host process"};
    AppProcess connectorHost_{"App connector host", "connector app host process"};
};

}  // namespace Zandrel
