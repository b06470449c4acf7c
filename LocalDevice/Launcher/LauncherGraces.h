#pragma once

#include <chrono>

#include "LongestHostEnd.h"

namespace LocalDevice {

/// How long the parts may take to end before they are killed.
struct LauncherGraces {
    /// More than a host ever takes, however long its application program has to wait.
    std::chrono::milliseconds host = LongestHostEnd + std::chrono::seconds(10);
    std::chrono::milliseconds deviceStack = std::chrono::seconds(5);
};

}  // namespace LocalDevice
