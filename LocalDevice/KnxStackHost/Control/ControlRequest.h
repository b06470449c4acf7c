#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// A request that cannot be obeyed; `what()` is one line for the answer.
class ControlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The request on a line. Throws `ControlError` where the line is no JSON, is nested too deep or has two values for one
/// member.
nlohmann::json ParseRequest(const std::string& line);

// Readers of a request's members. None where the member is absent; `ControlError` where it is something else.

std::optional<std::string> FindText(const nlohmann::json& request, const char* member);
std::optional<std::uint32_t> FindNumber(const nlohmann::json& request, const char* member, std::uint32_t max);
std::optional<bool> FindBoolean(const nlohmann::json& request, const char* member);

/// Refuses the value of `member` where it is a text with a NUL: everything that it is handed to would end there.
void RequireNoNul(const nlohmann::json& value, const char* member);

/// The type of an interface object that can be loaded, or an array of them.
std::optional<std::uint16_t> FindObject(const nlohmann::json& request, const char* member);
std::optional<std::vector<std::uint16_t>> FindObjects(const nlohmann::json& request, const char* member);

/// The member "address", which must be there.
std::uint16_t GetGroupAddress(const nlohmann::json& request);

}  // namespace LocalDevice
