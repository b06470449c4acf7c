#pragma once

#include <optional>
#include <string>

#include "DeviceStackConnection.h"
#include "Orn/BoundedInt.h"
#include "PrefixedLogger.h"

namespace Zandrel {

/// Which logical KNX device of the device stack's configuration has `serialNumber` (letter case does not count); the
/// first where both have it. Waits for the answer, 30 s at most: an interruption point. None, after one ERROR line,
/// where it cannot be determined.
std::optional<LogicalDeviceId> GetLogicalKnxDeviceId(DeviceStackConnection& connection, const std::string& serialNumber,
                                                     const PrefixedLogger& log);

}  // namespace Zandrel
