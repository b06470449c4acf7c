#include "AppValue.h"

namespace LocalDevice {

using Zandrel::ZANVALUE;

// The union is the app interface's: C has no other.
// NOLINTBEGIN(cppcoreguidelines-pro-type-union-access)

std::optional<orn_value> ToAppValue(const ZANVALUE& value, std::string& text) {
    orn_value result{};
    switch (value.GetType()) {
        case ZANVALUE::Type::None:
            return std::nullopt;
        case ZANVALUE::Type::Boolean:
            result.type = ORN_BOOLEAN;
            result.as.boolean = value.GetBoolean().value();
            break;
        case ZANVALUE::Type::Integer:
            result.type = ORN_INTEGER;
            result.as.integer = value.GetInteger().value();
            break;
        case ZANVALUE::Type::Float:
            result.type = ORN_NUMBER;
            result.as.number = value.GetFloat().value();
            break;
        case ZANVALUE::Type::Text:
            text = value.ToString();
            result.type = ORN_TEXT;
            result.as.text = text.c_str();
            break;
    }
    return result;
}

std::optional<ZANVALUE> FromAppValue(const orn_value& value) {
    switch (value.type) {
        case ORN_BOOLEAN:
            return ZANVALUE::FromBoolean(value.as.boolean);
        case ORN_INTEGER:
            return ZANVALUE::FromInteger(value.as.integer);
        case ORN_NUMBER:
            return ZANVALUE::FromFloat(value.as.number);
        case ORN_TEXT:
            return value.as.text == nullptr ? std::nullopt : std::optional(ZANVALUE::FromText(value.as.text));
    }
    return std::nullopt;
}

// NOLINTEND(cppcoreguidelines-pro-type-union-access)

}  // namespace LocalDevice
