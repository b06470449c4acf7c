#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace Zandrel {

/// How text travels in the device stack's frames, which are JSON and therefore UTF-8 (RFC 8259). Pure functions.

/// Appends `text` to `json` as a JSON string. Text that is not UTF-8 is read as Latin-1.
void AppendJsonString(std::string& json, const std::string& text);

/// Appends the members that carry a value: "value", and "encoding" for one whose bytes are not UTF-8.
void AppendValueMembers(std::string& json, const std::string& value);

/// The value that `members` carries, with its bytes restored. None where there is none.
std::optional<std::string> ReadValueMembers(const nlohmann::json& members);

/// A frame that is about a value and is as plain as nearly all of them: the parser takes longer for it than the rest of
/// its way takes.
struct PlainValueFrame {
    std::uint32_t id;  ///< not 0
    std::string_view value;
};

/// Reads `start` ID `,"value":"` VALUE `"}`, where `start` begins a JSON object and nothing in the value is escaped.
/// None for anything else, which may still be the same to a parser. The result refers to `frame`.
std::optional<PlainValueFrame> ReadPlainValueFrame(std::string_view frame, std::string_view start);

}  // namespace Zandrel
