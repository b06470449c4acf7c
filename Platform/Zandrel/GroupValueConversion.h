#pragma once

#include <cstdint>
#include <optional>

#include "KnxStack/GroupValue.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

/// Converts between the values of the KNX bus and those of the device stack.
///
/// `dpt` is the data-point type, main number in the upper 16 bits, sub number in the lower 16 bits. None for an unknown
/// main type, a wrong length, a value out of range, and a type that does not convert. For every canonical group value
/// the two are inverses of each other. Thread-safe.
std::optional<KnxStack::GroupValue> ZanValueToGroupValue(const ZANVALUE& value, std::uint32_t dpt);
std::optional<ZANVALUE> GroupValueToZanValue(const KnxStack::GroupValue& value, std::uint32_t dpt);

}  // namespace Zandrel
