#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Place.h"

namespace LocalDevice {

/// Typed access to the members of a JSON object. Every function throws `RequestError` with the place and what was
/// expected where a member has another type or content, and returns none where there is no such member; members that
/// nobody asks for are ignored. Refers to object and place, which must outlive it.
class JsonFields {
public:
    JsonFields(const nlohmann::json& object, const Place& place);

    std::optional<std::string> GetString(std::string_view key) const;
    std::optional<bool> GetBool(std::string_view key) const;
    /// A string that holds "1" (true) or "0".
    std::optional<bool> GetDigitBool(std::string_view key) const;
    /// A string that holds a decimal number.
    std::optional<int> GetDigitInt(std::string_view key) const;
    /// An unsigned 32-bit number above 0.
    std::optional<std::uint32_t> GetNumber(std::string_view key) const;
    /// An array of such numbers.
    std::optional<std::vector<std::uint32_t>> GetNumbers(std::string_view key) const;
    /// Null where there is no such member.
    const nlohmann::json* GetArray(std::string_view key) const;
    const nlohmann::json* GetObject(std::string_view key) const;

    /// The same for members that have to be there.
    std::string NeedString(std::string_view key) const;
    std::uint32_t NeedNumber(std::string_view key) const;

    const Place& GetPlace() const { return *place_; }
    Place At(std::string_view key) const { return {*place_, key}; }
    [[noreturn]] void Refuse(std::string_view key, const std::string& text) const { At(key).Refuse(text); }

private:
    const nlohmann::json* Find(std::string_view key) const;
    std::uint32_t ReadNumber(std::string_view key, const nlohmann::json& member) const;

    const nlohmann::json* object_;
    const Place* place_;
};

}  // namespace LocalDevice
