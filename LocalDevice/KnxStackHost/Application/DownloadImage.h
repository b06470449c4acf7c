#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "DeviceDescription.h"

namespace LocalDevice {

/// The contents of properties, by property id.
using PropertyContents = std::map<std::uint16_t, std::vector<std::uint8_t>>;

/// What a download writes into the application's own object: the application id, its parameters, and for each of the
/// 520 group objects its data-point type and whether it communicates.
PropertyContents MakeApplicationProperties(const DeviceDescription& description);

/// What it writes into the IP parameter object: the friendly name and the individual addresses.
PropertyContents MakeIpParameterProperties(const DeviceDescription& description);

/// The device's own identity, in the device object.
PropertyContents MakeDeviceProperties(const DeviceDescription& description);

/// What it writes into the memory of application program 1: the text parameters, each in its block of 128 bytes.
std::vector<std::uint8_t> MakeApplicationMemory(const DeviceDescription& description);

}  // namespace LocalDevice
