#include "AppLauncher.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "AppHostProcessControl.h"
#include "DevicePaths.h"
#include "Orn/Durations.h"
#include "Orn/MeasureDuration.h"
#include "PackageFiles.h"
#include "VerifyAppPackage.h"

namespace Zandrel {

namespace {

/// Ends the check of a package.
struct CheckInterrupted {};

}  // namespace

PackageCheck SignedPackageCheck() {
    return [](const boost::filesystem::path& fileList, const boost::filesystem::path& caCertificate,
              const ThreadControl& control) {
        try {
            return VerifyAppPackage(fileList, caCertificate, [&control](std::uint64_t) {
                if (!control.running) {
                    throw CheckInterrupted();
                }
            });
        } catch (const CheckInterrupted&) {
            return VerificationResult::Unverifiable;
        }
    };
}

AppLauncher::AppLauncher(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
                         AppHostProcessControl& processControl, PackageCheck packageCheck)
    : log_(std::move(log)),
      identity_(std::move(identity)),
      processControl_(processControl),
      locator_(log_, identity_, processControl.GetConfiguration()),
      packageCheck_(std::move(packageCheck)) {}

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
    const bool isManaged = identity_->IsManagedApp();
    const char* const what = isManaged ? "app host and connector app host" : "app host";
    const MeasureDuration duration(
        isManaged ? "Starting app host and connector app host took " : "Starting app host took ", log_.GetLogger());
    if (isManaged && !processControl_.GetConfiguration().IsAppConnectorHostStartupDisabled() &&
        !LaunchManagedApp(control)) {
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
    const std::string appName = identity_->IsManagedApp() ? AppHostProcessControl::ConnectorApp : identity_->GetAppId();
    const std::optional<boost::filesystem::path> library = locator_.GetNativeAppLib(appName);
    if (!library) {
        ORN_LOG(log_, ERROR, "Failed to find native app: " << appName);
        return false;
    }
    return processControl_.LaunchNativeApp(control, id, *appHost, *library, appName);
}

bool AppLauncher::LaunchManagedApp(const ThreadControl& control) {
    const std::optional<boost::filesystem::path> connectorHost = locator_.GetAppConnectorHost();
    if (!connectorHost) {
        ORN_LOG(log_, FATAL, "Failed to find managed connectorAppHost.");
        return false;
    }
    const std::string appId = identity_->GetAppId();
    const std::optional<boost::filesystem::path> app = locator_.GetManagedAppDll(appId);
    if (!app) {
        ORN_LOG(log_, FATAL, "Failed to find managed app: " << appId << ".dll");
        return false;
    }
    if (identity_->IsManagedApp()) {
        const VerificationResult result =
            packageCheck_(app->parent_path() / PackageFiles::FileList, DevicePaths::CaCertificate(), control);
        if (!control.running) {
            ORN_LOG(log_, INFO, "Interruption signaled.");
            return false;
        }
        if (result != VerificationResult::SignatureOk) {
            return false;
        }
    }
    return processControl_.LaunchManagedApp(control, *connectorHost, *app, appId);
}

}  // namespace Zandrel
