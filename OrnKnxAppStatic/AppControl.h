#pragma once

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <memory>
#include <optional>

#include "AppHostControlState.h"
#include "AppIdentity.h"
#include "Orn/ThreadControl.h"
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
    /// The same for a cycle; nothing is written once its run flag is cleared and `CorrectRunStateOfEndedCycle` has
    /// returned.
    void SetAppHostRunstate(AppHostControlState state, const ThreadControl& control);

    /// Writes "Stopped" where the device stack shows another run state of an app that has been stopped, or is about to
    /// show one that was written here: a killed app cannot report it, and the next start would take the old "Running"
    /// for its own.
    void CorrectStaleRunState();
    /// The same when a cycle has ended, for what became of its app after `CorrectStaleRunState`. The run flag of the
    /// cycle is cleared before. `appWasKilled`: there was one, and what it has reported may be on its way.
    void CorrectRunStateOfEndedCycle(bool appWasKilled);

    /// Before an app is launched: has the device stack report "Stopped" where an earlier app's run state is still
    /// known, which would count as the new one's. Waits for the report, 1 s at most and only while the run flag of
    /// `control` is set; one that does not come is a line in the log.
    void EndRunStateOfEarlierApp(const ThreadControl& control);

    /// Tells the app whether group values reach the bus. True when the device stack took the event.
    bool SignalAppHostKnxCommunicationState(LogicalDeviceId id, bool on);

    /// Asks the app to shut down; one that is starting is given 5 s to run first, as it would miss the event. True when
    /// the event was taken or the app is stopped or stopping already; false when it could not be asked.
    bool SendAppControlEventStop();

private:
    void Write(const boost::lock_guard<boost::mutex>& lock, AppHostControlState state);
    bool DoSendAppControlEvent(LogicalDeviceId id, AppHostControlEvent event);

    const PrefixedLogger log_;
    DeviceStackConnection& connection_;
    const std::shared_ptr<const AppIdentity> identity_;
    AppHostProcessControl& processControl_;

    boost::mutex writeMutex_;                     ///< guards what follows; held while a run state is written
    std::optional<AppHostControlState> written_;  ///< the last run state that was; none before the first
};

}  // namespace Zandrel
