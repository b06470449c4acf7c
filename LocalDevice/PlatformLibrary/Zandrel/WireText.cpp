#include "WireText.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <system_error>

#include "Zandrel/EncodedString.h"

namespace Zandrel {
namespace {

constexpr const char* Latin1 = "latin-1";

bool IsUtf8(const std::string& text) {
    return getLatin1FromUTF8Lossy(UTF8String(text)).has_value();
}

void AppendUtf8(std::string& json, const std::string& utf8) {
    json += nlohmann::json(utf8).dump();
}

/// Neither to be escaped nor part of a longer character: true for nearly every text of the system.
bool IsPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    });
}

/// Takes `part` from the front of `text`; false where it is not there.
bool Take(std::string_view& text, std::string_view part) {
    const bool isThere = text.substr(0, part.size()) == part;
    text.remove_prefix(isThere ? part.size() : 0);
    return isThere;
}

}  // namespace

void AppendJsonString(std::string& json, const std::string& text) {
    if (IsPlain(text)) {
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
    if (!IsPlain(value) && !IsUtf8(value)) {
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

std::optional<PlainValueFrame> ReadPlainValueFrame(std::string_view frame, std::string_view start) {
    constexpr std::string_view End = R"("})";
    if (!Take(frame, start) || frame.substr(0, 1) == "0") {
        return std::nullopt;
    }
    PlainValueFrame result{};
    const auto [afterId, error] = std::from_chars(frame.data(), frame.data() + frame.size(), result.id);
    frame.remove_prefix(static_cast<std::size_t>(afterId - frame.data()));
    if (error != std::errc() || !Take(frame, R"(,"value":")") || frame.size() < End.size()) {
        return std::nullopt;
    }
    result.value = frame.substr(0, frame.size() - End.size());
    frame.remove_prefix(result.value.size());
    return frame == End && IsPlain(result.value) ? std::make_optional(result) : std::nullopt;
}

}  // namespace Zandrel
