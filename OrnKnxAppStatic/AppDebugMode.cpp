#include "AppDebugMode.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread_only.hpp>
#include <utility>

#include "AppControl.h"
#include "AppHostProcessControl.h"
#include "AppLauncher.h"
#include "ContainExceptions.h"

// The lines of a task carry the name of its function.
#define ORN_LOG_TASK(LEVEL, message) ORN_LOG_AS("operator()", log_, LEVEL, message)

namespace Zandrel {

AppDebugMode::AppDebugMode(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
                           AppHostProcessControl& processControl, AppControl& appControl, AppLauncher& appLauncher,
                           Clock::Duration taskWait)
    : log_(std::move(log)),
      identity_(std::move(identity)),
      processControl_(processControl),
      appControl_(appControl),
      appLauncher_(appLauncher),
      taskWait_(taskWait) {}

void AppDebugMode::Begin(std::shared_ptr<const ThreadControl> control) {
    std::optional<Future> last;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        control_ = std::move(control);
        last = pending_;
    }
    WaitForTasks(last);
}

void AppDebugMode::Close() {
    Begin(nullptr);
}

void AppDebugMode::SetAppDebugMode(bool enable, std::shared_ptr<const void> owner) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!control_) {
        return;
    }
    const char* const prefix = enable ? "en" : "dis";
    AppHostConfiguration& configuration = processControl_.GetConfiguration();
    if (configuration.ReplaceAppDebugMode(enable) == enable) {
        ORN_LOG_GLOBAL(INFO, "Debug mode was already " << prefix << "abled");
        return;
    }
    try {
        ORN_LOG_GLOBAL(INFO, "Debug mode " << prefix << "abled");
        if (!identity_->IsManagedApp()) {
            ORN_LOG_GLOBAL(INFO,
                           "Debug mode is only enabled for orn knx programmable, otherwise this function did nothing!");
            return;
        }
        StartTask(enable, std::move(owner));
    } catch (...) {
        configuration.ReplaceAppDebugMode(!enable);
        throw;
    }
}

/// Needs the mutex.
void AppDebugMode::StartTask(bool enable, std::shared_ptr<const void> owner) {
    boost::packaged_task<void()> task(
        [this, enable, control = control_, earlier = pending_, owner = std::move(owner)]() mutable {
            // Released before the task counts as done: this thread is not the one to destroy the owner then.
            const std::shared_ptr<const void> ownerOfThis = std::move(owner);
            if (earlier) {
                earlier->wait();
                earlier.reset();
            }
            ContainExceptions(log_, "operator()", [&] {
                Run(enable, *control);
                return true;
            });
        });
    Future future(task.get_future());
    boost::thread(std::move(task)).detach();
    pending_ = std::move(future);
}

void AppDebugMode::Run(bool enable, const ThreadControl& control) const {
    if (processControl_.GetConfiguration().SetAppConnectorHostStartupDisabled(enable) != enable) {
        if (enable) {
            // The connector host of a cycle that has been stopped is gone: one that runs is the next cycle's.
            if (control.running) {
                processControl_.StopManagedApp();
            }
            appControl_.SetAppHostRunstate(AppHostControlState::Stopped, control);
        } else {
            ORN_LOG_TASK(DEBUG, "Launch managed connector host");
            if (ContainExceptions(log_, "LaunchManagedApp", [&] { return appLauncher_.LaunchManagedApp(control); })) {
                appControl_.SetAppHostRunstate(AppHostControlState::Running, control);
            } else {
                ORN_LOG_TASK(DEBUG, "Switching RUN led off.");
                processControl_.GetIpcClient().SetRunLedOff();
                appControl_.SetAppHostRunstate(AppHostControlState::Stopped, control);
            }
        }
    }
    ORN_LOG_TASK(DEBUG, "Set app debug mode done.");
}

void AppDebugMode::WaitForTasks(const std::optional<Future>& last) const {
    if (last && last->wait_for(taskWait_) == boost::future_status::timeout) {
        ORN_LOG(log_, ERROR, "A change of the debug mode does not end; going on without it");
    }
}

}  // namespace Zandrel
