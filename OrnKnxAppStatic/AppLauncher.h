#pragma once

#include <memory>

#include "AppIdentity.h"
#include "AppLocator.h"
#include "Orn/ThreadControl.h"
#include "PrefixedLogger.h"

namespace Zandrel {

class AppHostProcessControl;

/// Starts the app and waits until it runs. Runs on the init thread. A process that was started before a later step
/// fails goes on: ending it is the business of whoever stops the cycle.
class AppLauncher {
public:
    /// `processControl` must outlive it.
    AppLauncher(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity, AppHostProcessControl& processControl);

    /// Starts the app host and waits up to 90 s for the run state "Running", which is a Boost interruption point. True
    /// when the app runs; false, with a line in the log, when it does not or the run flag of `control` is cleared.
    bool LaunchApp(const ThreadControl& control);

private:
    bool LaunchNativeApp(const ThreadControl& control, LogicalDeviceId id);

    const PrefixedLogger log_;
    const std::shared_ptr<const AppIdentity> identity_;
    AppHostProcessControl& processControl_;
    const AppLocator locator_;
};

}  // namespace Zandrel
