#include "ConnectorProtocol.h"

#include <array>
#include <charconv>
#include <system_error>

namespace LocalDevice::ConnectorProtocol {

namespace {

template <typename Number>
std::string ToText(Number number) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    return {buffer.data(), result.ptr};
}

template <typename Number>
std::optional<Number> ToNumber(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end) {
        return std::nullopt;
    }
    return number;
}

std::string ToWords(bool value) {
    return value ? "boolean 1" : "boolean 0";
}
std::string ToWords(std::int64_t value) {
    return "integer " + ToText(value);
}
std::string ToWords(double value) {
    return "number " + ToText(value);
}
std::string ToWords(const std::string& value) {
    return "text " + Escape(value);
}

}  // namespace

std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '\n':
                escaped += "\\n";
                break;
            case '\r':
                escaped += "\\r";
                break;
            case '\\':
                escaped += "\\\\";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string Unescape(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char c = text[++i];
        plain += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    }
    return plain;
}

// The union is the app interface's: C has no other.
// NOLINTBEGIN(cppcoreguidelines-pro-type-union-access)

Value ToValue(const orn_value& value) {
    switch (value.type) {
        case ORN_BOOLEAN:
            return value.as.boolean;
        case ORN_INTEGER:
            return value.as.integer;
        case ORN_NUMBER:
            return value.as.number;
        case ORN_TEXT:
            break;
    }
    return std::string(value.as.text);
}

orn_value ToAppValue(const Value& value) {
    orn_value result{};
    if (const auto* const boolean = std::get_if<bool>(&value)) {
        result.type = ORN_BOOLEAN;
        result.as.boolean = *boolean;
    } else if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
        result.type = ORN_INTEGER;
        result.as.integer = *integer;
    } else if (const auto* const number = std::get_if<double>(&value)) {
        result.type = ORN_NUMBER;
        result.as.number = *number;
    } else {
        result.type = ORN_TEXT;
        result.as.text = std::get<std::string>(value).c_str();
    }
    return result;
}

// NOLINTEND(cppcoreguidelines-pro-type-union-access)

std::string FromValue(const Value& value) {
    return std::visit([](const auto& content) { return ToWords(content); }, value);
}

std::optional<Value> ParseValue(std::string line) {
    const std::string type = TakeWord(line);
    if (type == "boolean" && (line == "0" || line == "1")) {
        return line == "1";
    }
    if (type == "integer") {
        return ToNumber<std::int64_t>(line);
    }
    if (type == "number") {
        return ToNumber<double>(line);
    }
    if (type == "text") {
        return Unescape(line);
    }
    return std::nullopt;
}

std::optional<std::uint16_t> ParseCo(const std::string& text) {
    const auto co = ToNumber<std::uint16_t>(text);
    return co && *co >= 1 && *co <= ORN_MAX_CO ? co : std::nullopt;
}

std::optional<std::chrono::milliseconds> ParseMilliseconds(const std::string& text) {
    const auto count = ToNumber<std::uint32_t>(text);
    return count ? std::optional(std::chrono::milliseconds(*count)) : std::nullopt;
}

std::string TakeWord(std::string& line) {
    const std::size_t end = line.find(' ');
    std::string word = line.substr(0, end);
    line.erase(0, end == std::string::npos ? end : end + 1);
    return word;
}

}  // namespace LocalDevice::ConnectorProtocol
