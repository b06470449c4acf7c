#include "Zandrel/GroupValueConversion.h"

#include <utility>

#include "DataPointTypes.h"

namespace Zandrel {

std::optional<KnxStack::GroupValue> ZanValueToGroupValue(const ZANVALUE& value, std::uint32_t dpt) {
    const DataPointType* const type = FindDataPointType(dpt);
    if (type == nullptr) {
        return std::nullopt;
    }
    auto bytes = type->encode(value);
    if (!bytes) {
        return std::nullopt;
    }
    return KnxStack::GroupValue(*std::move(bytes));
}

std::optional<ZANVALUE> GroupValueToZanValue(const KnxStack::GroupValue& value, std::uint32_t dpt) {
    const DataPointType* const type = FindDataPointType(dpt);
    if (type == nullptr || (type->size != DataPointType::VariableSize && value.GetSize() != type->size)) {
        return std::nullopt;
    }
    return type->decode(value.GetBytes());
}

}  // namespace Zandrel
