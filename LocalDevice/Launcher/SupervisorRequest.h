#pragma once

#include <string>
#include <variant>

namespace LocalDevice {

/// Restart the device.
struct RestartRequest {
    bool factoryReset = false;
    int from = 0;  ///< the sender's process number on the device's IPC bus
};

/// Switch the RUN LED off.
struct RunLedOffRequest {
    int from = 0;
};

/// A line that is no request: why not.
struct BadRequest {
    std::string problem;
};

using SupervisorRequest = std::variant<RestartRequest, RunLedOffRequest, BadRequest>;

/// Reads {"request":"restart","factoryReset":false,"from":13,"to":2} or {"request":"runLedOff","from":13,"to":2}.
SupervisorRequest ParseSupervisorRequest(const std::string& line);

}  // namespace LocalDevice
