#pragma once

#include <log4cplus/logger.h>

#include <string>

#include "DeviceStackConnection.h"
#include "PrefixedLogger.h"

namespace Zandrel {

class OrnIpcClientImpl;

/// The span of a configuration change: its events tell the device stack of begin and end.
///
/// Each end waits for the device stack's answer, 30 s at most, and cannot be interrupted meanwhile: where a begin was
/// sent, the end is sent too. An event that fails is logged and changes nothing.
class DeviceStackConfigurationIndicator {
public:
    /// `appId`: what log lines start with, where it is not empty. `connection` must outlive the span.
    DeviceStackConfigurationIndicator(DeviceStackConnection& connection, log4cplus::Logger logger, std::string appId);
    /// Does not throw.
    ~DeviceStackConfigurationIndicator();
    DeviceStackConfigurationIndicator(const DeviceStackConfigurationIndicator&) = delete;
    DeviceStackConfigurationIndicator& operator=(const DeviceStackConfigurationIndicator&) = delete;

private:
    /// One end of the span, with the line of `function`. The other end follows whatever becomes of this one.
    void Indicate(const char* function, const char* type, const char* success) const noexcept;

    DeviceStackConnection& connection_;
    const log4cplus::Logger logger_;
    const std::string appId_;
};

/// Tells the device stack that an app is configured, or that none is. Waits for the answer, 30 s at most; a failure is
/// logged and changes nothing. Callable from any thread; the wait is a Boost interruption point.
void SignalConfigurationLoaded(DeviceStackConnection& connection, const PrefixedLogger& log);
void SignalConfigurationUnloaded(DeviceStackConnection& connection, const PrefixedLogger& log);

/// Switches the RUN LED off and signals "configurationUnloaded".
void IndicateAppNotRunning(OrnIpcClientImpl& ipcClient, DeviceStackConnection& connection, const PrefixedLogger& log);

}  // namespace Zandrel
