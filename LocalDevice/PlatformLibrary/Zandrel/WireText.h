#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace Zandrel {

/// How text travels in the device stack's frames, which are JSON and therefore UTF-8 (RFC 8259). Pure functions.

/// Appends `text` to `json` as a JSON string. Text that is not UTF-8 is read as Latin-1.
void AppendJsonString(std::string& json, const std::string& text);

/// Appends the members that carry a value: "value", and "encoding" for one whose bytes are not UTF-8.
void AppendValueMembers(std::string& json, const std::string& value);

/// The value that `members` carries, with its bytes restored. None where there is none.
std::optional<std::string> ReadValueMembers(const nlohmann::json& members);

}  // namespace Zandrel
