#pragma once

#include <boost/thread/future.hpp>
#include <boost/thread/mutex.hpp>
#include <memory>
#include <optional>

#include "AppIdentity.h"
#include "Orn/Clock.h"
#include "Orn/Durations.h"
#include "Orn/ThreadControl.h"
#include "PrefixedLogger.h"

namespace Zandrel {

class AppControl;
class AppHostProcessControl;
class AppLauncher;

/// The app debug switch: while it is on, a developer starts the connector host of a managed app instead of the device.
///
/// Thread-safe. Each change is a task on a thread of its own; the tasks run one after the other, each in the cycle in
/// which its change came: a task of a cycle that has been stopped launches and stops nothing and writes no run state.
class AppDebugMode {
public:
    /// The others must outlive it. A task is waited for `taskWait` at most, in real time.
    AppDebugMode(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity, AppHostProcessControl& processControl,
                 AppControl& appControl, AppLauncher& appLauncher, Clock::Duration taskWait = Durations::DebugTaskWait);
    AppDebugMode(const AppDebugMode&) = delete;
    AppDebugMode& operator=(const AppDebugMode&) = delete;

    /// Begins the cycle of `control`; on return the tasks of the cycle before have ended.
    void Begin(std::shared_ptr<const ThreadControl> control);
    /// Ends: later changes are ignored; on return the tasks have ended. The run flag of the cycle is to be cleared
    /// before.
    void Close();

    /// Switches the debug mode and returns at once: the connector host of a managed app is stopped or started by the
    /// task, which holds `owner`, the owner of this object, as long as it runs. Throws when the task cannot be started:
    /// `boost::thread_resource_error` without a thread, `std::bad_alloc` without memory. The mode is the earlier one
    /// then.
    void SetAppDebugMode(bool enable, std::shared_ptr<const void> owner);

private:
    using Future = boost::shared_future<void>;

    void StartTask(bool enable, std::shared_ptr<const void> owner);
    void Run(bool enable, const ThreadControl& control) const;
    void WaitForTasks(const std::optional<Future>& last) const;

    const PrefixedLogger log_;
    const std::shared_ptr<const AppIdentity> identity_;
    AppHostProcessControl& processControl_;
    AppControl& appControl_;
    AppLauncher& appLauncher_;
    const Clock::Duration taskWait_;

    boost::mutex mutex_;                            ///< guards what follows
    std::shared_ptr<const ThreadControl> control_;  ///< of the current cycle; none before the first and when closed
    std::optional<Future> pending_;                 ///< of the latest task
};

}  // namespace Zandrel
