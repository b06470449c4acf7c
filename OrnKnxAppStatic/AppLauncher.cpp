#include "AppLauncher.h"

#include <optional>
#include <string>
#include <utility>

#include "AppHostProcessControl.h"
#include "Orn/Durations.h"
#include "Orn/MeasureDuration.h"

namespace Zandrel {

AppLauncher::AppLauncher(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
                         AppHostProcessControl& processControl)
    : log_(std::move(log)),
      identity_(std::move(identity)),
      processControl_(processControl),
      locator_(log_, identity_, processControl.GetConfiguration()) {}

bool AppLauncher::LaunchApp(const ThreadControl& control) {
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    const std::optional<LogicalDeviceId> id = identity_->GetLogicalDeviceId();
    if (!id) {
        ORN_LOG(log_, FATAL, "No valid Logical KNX Device Id.");
        return false;
    }
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    const std::string what = identity_->IsManagedApp() ? "app host and connector app host" : "app host";
    const MeasureDuration duration("Starting " + what + " took ", log_.GetLogger());
    if (identity_->IsManagedApp()) {
        ORN_LOG(log_, FATAL, "Starting managed connectorAppHost failed.");
        return false;
    }
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    if (!LaunchNativeApp(control, *id)) {
        ORN_LOG(log_, FATAL, "Starting app host failed.");
        return false;
    }
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    ORN_LOG(log_, DEBUG, "Waiting for " << what << " to have started.");
    if (!processControl_.WaitForRunState(AppHostControlState::Running, Durations::RunningWait, control.running)) {
        ORN_LOG(log_, FATAL, "Time-out waiting for running " << what << ".");
        return false;
    }
    ORN_LOG(log_, INFO, "Done: " << what << " running.");
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    if (processControl_.GetRunState() != AppHostControlState::Running) {
        ORN_LOG(log_, FATAL, "Failure: " << what << " not running");
        return false;
    }
    return true;
}

bool AppLauncher::LaunchNativeApp(const ThreadControl& control, LogicalDeviceId id) {
    const std::optional<boost::filesystem::path> appHost = locator_.GetAppHost();
    if (!appHost) {
        ORN_LOG(log_, ERROR, "Failed to find app host.");
        return false;
    }
    const std::string appName = identity_->GetAppId();
    const std::optional<boost::filesystem::path> library = locator_.GetNativeAppLib(appName);
    if (!library) {
        ORN_LOG(log_, ERROR, "Failed to find native app: " << appName);
        return false;
    }
    return processControl_.LaunchNativeApp(control, id, *appHost, *library, appName);
}

}  // namespace Zandrel
