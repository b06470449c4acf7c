#include "WireText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Zandrel/EncodedString.h"

namespace Zandrel {
namespace {

constexpr const char* Latin1 = "latin-1";

/// Neither to be escaped nor part of a longer character: true for nearly every text of the system.
bool IsPlain(char character) {
    return character >= ' ' && character <= '~' && character != '"' && character != '\\';
}

bool IsUtf8(const std::string& text) {
    return getLatin1FromUTF8Lossy(UTF8String(text)).has_value();
}

void AppendUtf8(std::string& json, const std::string& utf8) {
    json += nlohmann::json(utf8).dump();
}

}  // namespace

void AppendJsonString(std::string& json, const std::string& text) {
    if (std::all_of(text.begin(), text.end(), IsPlain)) {
        json.append(1, '"').append(text).append(1, '"');
    } else if (IsUtf8(text)) {
        AppendUtf8(json, text);
    } else {
        AppendUtf8(json, getUTF8FromLatin1(KnxStyleString(text)).GetBytes());
    }
}

void AppendValueMembers(std::string& json, const std::string& value) {
    json += "\"value\":";
    AppendJsonString(json, value);
    if (!std::all_of(value.begin(), value.end(), IsPlain) && !IsUtf8(value)) {
        json.append(R"(,"encoding":")").append(Latin1).append(1, '"');
    }
}

std::optional<std::string> ReadValueMembers(const nlohmann::json& members) {
    const auto value = members.find("value");
    if (value == members.end() || !value->is_string()) {
        return std::nullopt;
    }
    const auto& text = value->get_ref<const std::string&>();
    const auto encoding = members.find("encoding");
    if (encoding == members.end()) {
        return text;
    }
    if (*encoding != Latin1) {
        return std::nullopt;
    }
    const auto latin1 = getLatin1FromUTF8Lossy(UTF8String(text));
    return latin1 ? std::make_optional(latin1->GetBytes()) : std::nullopt;
}

}  // namespace Zandrel
