#include "AppControl.h"

#include <atomic>
#include <optional>
#include <utility>

#include "AppHostProcessControl.h"
#include "DeviceStackConnection.h"
#include "Orn/Durations.h"
#include "Zandrel/KnxOdsMapping.h"

namespace Zandrel {

namespace {

template <typename Number>
ZANVALUE ValueOf(Number number) {
    return ZANVALUE::FromInteger(static_cast<std::int64_t>(number));
}

}  // namespace

AppControl::AppControl(PrefixedLogger log, DeviceStackConnection& connection,
                       std::shared_ptr<const AppIdentity> identity, AppHostProcessControl& processControl)
    : log_(std::move(log)), connection_(connection), identity_(std::move(identity)), processControl_(processControl) {}

void AppControl::SetAppHostRunstate(AppHostControlState state) {
    const boost::lock_guard<boost::mutex> lock(writeMutex_);
    Write(lock, state);
}

void AppControl::SetAppHostRunstate(AppHostControlState state, const ThreadControl& control) {
    // Flag and write are one step: whoever clears the flag and then takes the lock knows what was written last.
    const boost::lock_guard<boost::mutex> lock(writeMutex_);
    if (control.running) {
        Write(lock, state);
    }
}

void AppControl::CorrectStaleRunState() {
    const boost::lock_guard<boost::mutex> lock(writeMutex_);
    const AppHostControlState shown = processControl_.GetRunState().value_or(AppHostControlState::Stopped);
    const AppHostControlState written = written_.value_or(AppHostControlState::Stopped);
    if ((shown != AppHostControlState::Stopped || written != AppHostControlState::Stopped) &&
        identity_->GetLogicalDeviceId()) {
        Write(lock, AppHostControlState::Stopped);
    }
}

void AppControl::CorrectRunStateOfEndedCycle(bool appWasKilled) {
    const boost::lock_guard<boost::mutex> lock(writeMutex_);
    const AppHostControlState written = written_.value_or(AppHostControlState::Stopped);
    if ((appWasKilled || written != AppHostControlState::Stopped) && identity_->GetLogicalDeviceId()) {
        Write(lock, AppHostControlState::Stopped);
    }
}

void AppControl::EndRunStateOfEarlierApp(const ThreadControl& control) {
    if (processControl_.GetRunState().value_or(AppHostControlState::Stopped) == AppHostControlState::Stopped) {
        return;
    }
    // The object model that was just published says "Stopped", and a value that is no change is not reported.
    SetAppHostRunstate(AppHostControlState::Stopping, control);
    SetAppHostRunstate(AppHostControlState::Stopped, control);
    if (!processControl_.WaitForRunState(AppHostControlState::Stopped, Durations::RunStateReportWait,
                                         control.running) &&
        control.running) {
        ORN_LOG(log_, WARN,
                "The device stack does not report that the app before has stopped. Current run state: "
                    << processControl_.GetRunState());
    }
}

void AppControl::Write(const boost::lock_guard<boost::mutex>& /*lock*/, AppHostControlState state) {
    static constexpr const char* Caller = "SetAppHostRunstate";
    const std::optional<LogicalDeviceId> id = identity_->GetLogicalDeviceId();
    if (!id) {
        ORN_LOG_AS(Caller, log_, ERROR, "Invalid Logical device ID.");
        return;
    }
    const unsigned long point = KnxOdsMapping::GetAppHostAppControlStateObjModelId(id->Value());
    if (!connection_.SetValueAndIgnoreResponse(point, ValueOf(state)).value_or(false)) {
        ORN_LOG_AS(Caller, log_, ERROR, "Failed to set runstate to '" << state << "'.");
        return;
    }
    written_ = state;
}

bool AppControl::SignalAppHostKnxCommunicationState(LogicalDeviceId id, bool on) {
    if (!connection_.IsConnected()) {
        ORN_LOG(log_, ERROR, "Connection to device stack unavailable!");
        return false;
    }
    ORN_LOG(log_, INFO, "Signal KNX communication '" << (on ? "on" : "off") << "'.");
    return DoSendAppControlEvent(
        id, on ? AppHostControlEvent::KnxCommunicationOn : AppHostControlEvent::KnxCommunicationOff);
}

bool AppControl::SendAppControlEventStop() {
    const std::optional<AppHostControlState> state = processControl_.GetRunState();
    if (!state) {
        ORN_LOG(log_, ERROR, "Requested to send termination to app but runstate is unknown. Do nothing.");
        return false;
    }
    if (state == AppHostControlState::Stopped || state == AppHostControlState::Stopping) {
        return true;
    }
    if (state == AppHostControlState::Starting) {
        const std::atomic<bool> keepRunning{true};
        if (!processControl_.WaitForRunState(AppHostControlState::Running, Durations::RunningBeforeStopWait,
                                             keepRunning)) {
            ORN_LOG(log_, ERROR, "Run state did not change from starting to running");
            return false;
        }
    }
    const std::optional<LogicalDeviceId> id = identity_->GetLogicalDeviceId();
    if (!id) {
        ORN_LOG(log_, ERROR, "Invalid Logical device ID.");
        return false;
    }
    if (!connection_.IsConnected()) {
        ORN_LOG(log_, ERROR, "Connection to device stack unavailable!");
        return false;
    }
    ORN_LOG(log_, INFO, "Sending shutdown signal as RSM event");
    return DoSendAppControlEvent(*id, AppHostControlEvent::ShutDown);
}

bool AppControl::DoSendAppControlEvent(LogicalDeviceId id, AppHostControlEvent event) {
    const unsigned long point = KnxOdsMapping::GetAppHostAppControlEventObjModelId(id.Value());
    const std::optional<Docket> docket = connection_.SetValue(point, ValueOf(event));
    if (!docket) {
        ORN_LOG(log_, ERROR, "Connection to device stack unavailable!");
        return false;
    }
    switch (Judge(*docket)) {
        case Answer::Valid:
            return true;
        case Answer::TimedOut:
            ORN_LOG(log_, ERROR, "Sending event '" << event << "' timed out");
            return false;
        case Answer::Refused:
            ORN_LOG(log_, ERROR, "Failed to send event '" << event << "': " << docket->ReadDeliveryError());
            return false;
    }
    return false;
}

}  // namespace Zandrel
