#include "GroupObjects/ValueText.h"

#include <limits>
#include <nlohmann/json.hpp>

#include "Zandrel/GroupValueConversion.h"

namespace LocalDevice {

namespace {

std::optional<Zandrel::ZANVALUE> MakeZanValue(const nlohmann::json& value) {
    if (value.is_boolean()) {
        return Zandrel::ZANVALUE::FromBoolean(value.get<bool>());
    }
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max()) {
        return std::nullopt;
    }
    if (value.is_number_integer()) {
        return Zandrel::ZANVALUE::FromInteger(value.get<std::int64_t>());
    }
    if (value.is_number_float()) {
        return Zandrel::ZANVALUE::FromFloat(value.get<double>());
    }
    if (value.is_string()) {
        return Zandrel::ZANVALUE::FromText(value.get<std::string>());
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> GetValueText(const KnxStack::GroupValue& value, std::uint32_t dpt) {
    const auto converted = Zandrel::GroupValueToZanValue(value, dpt);
    return converted ? std::optional(converted->ToString()) : std::nullopt;
}

std::optional<KnxStack::GroupValue> MakeGroupValue(const nlohmann::json& value, std::uint32_t dpt) {
    const auto converted = MakeZanValue(value);
    return converted ? Zandrel::ZanValueToGroupValue(*converted, dpt) : std::nullopt;
}

}  // namespace LocalDevice
