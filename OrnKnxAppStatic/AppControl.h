#pragma once

#include <memory>

#include "AppHostControlState.h"
#include "AppIdentity.h"
#include "PrefixedLogger.h"

namespace Zandrel {

class AppHostProcessControl;
class DeviceStackConnection;

/// Talks to the app through the two app-control data points of its logical device: the run state and the events.
///
/// Callable from any thread. Each failure is one line in the log. Waiting for an answer (30 s at most) and for a run
/// state is a Boost interruption point.
class AppControl {
public:
    /// `connection` and `processControl` must outlive it.
    AppControl(PrefixedLogger log, DeviceStackConnection& connection, std::shared_ptr<const AppIdentity> identity,
               AppHostProcessControl& processControl);

    /// Writes the run state, in the app's place. The answer is not awaited.
    void SetAppHostRunstate(AppHostControlState state);

    /// Writes "Stopped" where the device stack still shows another run state of an app that has been stopped: a killed
    /// app cannot report it, and the next start would take the old "Running" for its own.
    void CorrectStaleRunState();

    /// Tells the app whether group values reach the bus. True when the device stack took the event.
    bool SignalAppHostKnxCommunicationState(LogicalDeviceId id, bool on);

    /// Asks the app to shut down; one that is starting is given 5 s to run first, as it would miss the event. True when
    /// the event was taken or the app is stopped or stopping already; false when it could not be asked.
    bool SendAppControlEventStop();

private:
    bool DoSendAppControlEvent(LogicalDeviceId id, AppHostControlEvent event);

    const PrefixedLogger log_;
    DeviceStackConnection& connection_;
    const std::shared_ptr<const AppIdentity> identity_;
    AppHostProcessControl& processControl_;
};

}  // namespace Zandrel
