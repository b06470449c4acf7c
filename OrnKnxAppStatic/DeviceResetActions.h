#pragma once

#include "DeviceResetTimer.h"

namespace Zandrel {

class AppHostProcessControl;

/// What the watchdog's expiry does: a restart of the device that keeps its settings, suppressed while a developer
/// debugs the app. `processControl` must outlive the result.
DeviceResetTimer::Actions MakeDeviceResetActions(AppHostProcessControl& processControl);

}  // namespace Zandrel
