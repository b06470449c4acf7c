#include "DeviceStackConfigurationIndicator.h"

#include <boost/thread/thread_only.hpp>
#include <exception>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "Zandrel/OrnIpcClientImpl.h"

namespace Zandrel {

namespace {

/// An event that was emitted on the device stack, and its answer. Printed, it is what went wrong.
class EmittedEvent {
public:
    /// Waits for the answer.
    EmittedEvent(DeviceStackConnection& connection, const char* type) : type_(type) {
        try {
            docket_ = connection.Request(std::string(R"({"command":"EmitEvent","eventType":")") + type + R"("})");
            if (docket_) {
                answer_ = Judge(*docket_);
            }
        } catch (const std::exception& exception) {
            exception_ = exception.what();
        }
    }

    bool IsTaken() const { return answer_ == Answer::Valid; }

    friend std::ostream& operator<<(std::ostream& stream, const EmittedEvent& event) {
        if (!event.docket_ && !event.exception_) {
            return stream << "No devicestack connection available!";
        }
        if (event.answer_ == Answer::TimedOut) {
            return stream << "Sending " << event.type_ << " to devicestack timed out!";
        }
        return stream << "Error sending " << event.type_ << " to devicestack! "
                      << (event.exception_ ? *event.exception_ : event.docket_->ReadDeliveryError());
    }

private:
    const char* const type_;
    std::optional<Docket> docket_;          ///< none without a connection
    std::optional<Answer> answer_;          ///< none without a docket
    std::optional<std::string> exception_;  ///< what was thrown instead
};

void IndicateLoadState(DeviceStackConnection& connection, const PrefixedLogger& log, const char* state) {
    const EmittedEvent event(connection, state);
    if (!event.IsTaken()) {
        ORN_LOG(log, ERROR, event);
        return;
    }
    ORN_LOG(log, INFO, "Signal " << state << " to devicestack.");
}

}  // namespace

DeviceStackConfigurationIndicator::DeviceStackConfigurationIndicator(DeviceStackConnection& connection,
                                                                     log4cplus::Logger logger, std::string appId)
    : connection_(connection), logger_(std::move(logger)), appId_(std::move(appId)) {
    Indicate("DeviceStackConfigurationIndicator", "configurationChangeBegin", "Switched on configuration change mode.");
}

DeviceStackConfigurationIndicator::~DeviceStackConfigurationIndicator() {
    Indicate("~DeviceStackConfigurationIndicator", "configurationChangeEnd", "Switched off configuration change mode.");
}

void DeviceStackConfigurationIndicator::Indicate(const char* function, const char* type,
                                                 const char* success) const noexcept {
    try {
        const boost::this_thread::disable_interruption uninterrupted;
        const EmittedEvent event(connection_, type);
        if (!event.IsTaken()) {
            ORN_LOG_PREFIXED_AS(function, logger_, appId_, ERROR, event);
            return;
        }
        ORN_LOG_PREFIXED_AS(function, logger_, appId_, INFO, success);
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
