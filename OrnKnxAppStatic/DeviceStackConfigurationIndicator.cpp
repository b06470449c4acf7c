#include "DeviceStackConfigurationIndicator.h"

#include <boost/thread/thread_only.hpp>
#include <exception>
#include <optional>
#include <utility>

#include "Zandrel/OrnIpcClientImpl.h"

namespace Zandrel {

namespace {

/// Emits an event on the device stack and waits for the answer. Returns what went wrong; none when nothing did.
std::optional<std::string> EmitEvent(DeviceStackConnection& connection, const std::string& eventType) {
    const std::string failure = "Error sending " + eventType + " to devicestack! ";
    try {
        const std::optional<Docket> docket =
            connection.Request(R"({"command":"EmitEvent","eventType":")" + eventType + R"("})");
        if (!docket) {
            return "No devicestack connection available!";
        }
        switch (Judge(*docket)) {
            case Answer::Valid:
                return std::nullopt;
            case Answer::TimedOut:
                return "Sending " + eventType + " to devicestack timed out!";
            case Answer::Refused:
                break;
        }
        return failure + docket->ReadDeliveryError();
    } catch (const std::exception& exception) {
        return failure + exception.what();
    }
}

void IndicateLoadState(DeviceStackConnection& connection, const PrefixedLogger& log, const std::string& state) {
    if (const std::optional<std::string> error = EmitEvent(connection, state)) {
        ORN_LOG(log, ERROR, *error);
        return;
    }
    ORN_LOG(log, INFO, "Signal " << state << " to devicestack.");
}

}  // namespace

DeviceStackConfigurationIndicator::DeviceStackConfigurationIndicator(DeviceStackConnection& connection,
                                                                     log4cplus::Logger logger, std::string appId)
    : connection_(connection), logger_(std::move(logger)), appId_(std::move(appId)) {
    const boost::this_thread::disable_interruption uninterrupted;
    if (const std::optional<std::string> error = EmitEvent(connection_, "configurationChangeBegin")) {
        ORN_LOG_PREFIXED(logger_, appId_, ERROR, *error);
        return;
    }
    ORN_LOG_PREFIXED(logger_, appId_, INFO, "Switched on configuration change mode.");
}

DeviceStackConfigurationIndicator::~DeviceStackConfigurationIndicator() {
    try {
        const boost::this_thread::disable_interruption uninterrupted;
        if (const std::optional<std::string> error = EmitEvent(connection_, "configurationChangeEnd")) {
            ORN_LOG_PREFIXED(logger_, appId_, ERROR, *error);
            return;
        }
        ORN_LOG_PREFIXED(logger_, appId_, INFO, "Switched off configuration change mode.");
    } catch (...) {  // NOLINT(bugprone-empty-catch): the line itself could not be built, so there is nothing to log
    }
}

void SignalConfigurationLoaded(DeviceStackConnection& connection, const PrefixedLogger& log) {
    IndicateLoadState(connection, log, "configurationLoaded");
}

void SignalConfigurationUnloaded(DeviceStackConnection& connection, const PrefixedLogger& log) {
    IndicateLoadState(connection, log, "configurationUnloaded");
}

void IndicateAppNotRunning(OrnIpcClientImpl& ipcClient, DeviceStackConnection& connection, const PrefixedLogger& log) {
    ORN_LOG(log, INFO, "Switching RUN led off.");
    ipcClient.SetRunLedOff();
    SignalConfigurationUnloaded(connection, log);
}

}  // namespace Zandrel
