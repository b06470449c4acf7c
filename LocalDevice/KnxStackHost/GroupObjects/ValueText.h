#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "KnxStack/GroupValue.h"

namespace LocalDevice {

/// A group value as plain text. None when its data-point type is not known or does not have it.
std::optional<std::string> GetValueText(const KnxStack::GroupValue& value, std::uint32_t dpt);

/// The group value of a text, a number or a boolean. None when the data-point type does not have it.
std::optional<KnxStack::GroupValue> MakeGroupValue(const nlohmann::json& value, std::uint32_t dpt);

}  // namespace LocalDevice
