#pragma once

#include <optional>
#include <string>

#include "IKnxConfigurationSource.h"
#include "KnxConfiguration.h"
#include "ObjectModel.h"
#include "Orn/BoundedInt.h"
#include "PrefixedLogger.h"

namespace Zandrel {

// The records that publish an app: functions that add to a configuration. Each returns true when it added all of its
// records; false after one ERROR line.

/// The KNX device, the logical device with its addresses and its channel for the device stack, and the app control.
bool ConfigureDevices(Configuration& configuration, LogicalDeviceId logicalDevice, const std::string& appId,
                      const IKnxConfigurationSource& knx);

/// The channel through which run state, events, heartbeat and debug switch of the app host travel.
bool ConfigureAppControlChannel(Configuration& configuration, unsigned long deviceId, LogicalDeviceId logicalDevice);

/// The channel of a communication object and, where the CO is in use, its value.
bool ConfigureObjModelCo(Device& device, const CoChannelAttr& co, std::optional<LogicalDeviceId> logicalDevice,
                         const PrefixedLogger& log);

/// The channel of a parameter and, where the parameter is in use, its value.
bool ConfigureObjModelParam(Device& device, const ParamAttr& parameter, const PrefixedLogger& log);

}  // namespace Zandrel
