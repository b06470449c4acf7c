#pragma once

#include <cstdint>
#include <string>

#include "Zandrel/ZanValue.h"
#include "orn/app.h"

namespace AppHostTests {

/// Values as an app makes them.
inline orn_value Boolean(bool value) {
    orn_value result{};
    result.type = ORN_BOOLEAN;
    result.as.boolean = value;
    return result;
}
inline orn_value Integer(std::int64_t value) {
    orn_value result{};
    result.type = ORN_INTEGER;
    result.as.integer = value;
    return result;
}
inline orn_value Number(double value) {
    orn_value result{};
    result.type = ORN_NUMBER;
    result.as.number = value;
    return result;
}
inline orn_value Text(const char* value) {
    orn_value result{};
    result.type = ORN_TEXT;
    result.as.text = value;
    return result;
}

/// A value with its type: "boolean 1", "integer 42", "number 0.5", "text abc".
inline std::string ToText(const orn_value& value) {
    switch (value.type) {
        case ORN_BOOLEAN:
            return value.as.boolean ? "boolean 1" : "boolean 0";
        case ORN_INTEGER:
            return "integer " + std::to_string(value.as.integer);
        case ORN_NUMBER:
            return "number " + Zandrel::ZANVALUE::FromFloat(value.as.number).ToString();
        case ORN_TEXT:
            return std::string("text ") + value.as.text;
    }
    return "?";
}

}  // namespace AppHostTests
