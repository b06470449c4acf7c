#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "Zandrel/KnxOdsMapping.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// What the device stack holds of one logical device when an app starts.
struct DeviceModel {
    static constexpr std::size_t ParameterKinds = 3;
    static constexpr std::size_t ParameterSlots = 50;

    struct Co {
        bool eventAlways = false;  ///< the device stack reports equal values, too
        std::optional<Zandrel::ZANVALUE> value;
    };

    /// Texts by kind and slot, slot n at index n - 1; empty where there is no value.
    std::array<std::array<std::string, ParameterSlots>, ParameterKinds> parameters;
    /// The COs in use, by number.
    std::map<std::uint16_t, Co> cos;
};

/// An answer of the device stack that is not what was asked for: `what()` says what is wrong.
class DeviceModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the device stack's answer to {"command":"GetObjectModel","id":DEVICE} on a connection with native format.
/// Objects that are no parameter and no CO of `logicalDevice` are left out. Throws `DeviceModelError`.
DeviceModel ReadDeviceModel(const std::string& answer, int logicalDevice);

}  // namespace LocalDevice
