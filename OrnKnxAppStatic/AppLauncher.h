#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <memory>

#include "AppIdentity.h"
#include "AppLocator.h"
#include "Orn/ThreadControl.h"
#include "PrefixedLogger.h"
#include "VerificationResult.h"

namespace Zandrel {

class AppHostProcessControl;

/// Checks an app package, given its file list and the certificate of the authority that vouches for app developers.
/// Ends with any result as soon as the run flag of `control` is cleared.
using PackageCheck =
    std::function<VerificationResult(const boost::filesystem::path& fileList,
                                     const boost::filesystem::path& caCertificate, const ThreadControl& control)>;
/// The one of a device.
PackageCheck SignedPackageCheck();

/// Starts the app and waits until it runs. A process that was started before a later step fails goes on: ending it is
/// the business of whoever stops the cycle. Callable from any thread.
class AppLauncher {
public:
    /// `processControl` must outlive it.
    AppLauncher(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity, AppHostProcessControl& processControl,
                PackageCheck packageCheck = SignedPackageCheck());

    /// Starts the app host, for a managed app the connector host before it, and waits up to 90 s for the run state
    /// "Running", which is a Boost interruption point. True when the app runs; false, with a line in the log, when it
    /// does not or the run flag of `control` is cleared.
    bool LaunchApp(const ThreadControl& control);

    /// Starts the connector host with the managed app, whose package is checked first. False, with a line in the log,
    /// when something is missing or not as its developer signed it, or the run flag of `control` is cleared.
    bool LaunchManagedApp(const ThreadControl& control);

private:
    bool LaunchNativeApp(const ThreadControl& control, LogicalDeviceId id);

    const PrefixedLogger log_;
    const std::shared_ptr<const AppIdentity> identity_;
    AppHostProcessControl& processControl_;
    const AppLocator locator_;
    const PackageCheck packageCheck_;
};

}  // namespace Zandrel
