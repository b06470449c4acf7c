#include "Control/ControlRequest.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "Application/Downloader.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

const nlohmann::json* Find(const nlohmann::json& request, const char* member) {
    const auto found = request.find(member);
    return found == request.end() ? nullptr : &*found;
}

[[noreturn]] void Refuse(const char* member, const std::string& expectation) {
    throw ControlError(std::string("\"") + member + "\" must be " + expectation);
}

std::optional<std::uint32_t> ToNumber(const nlohmann::json& value, std::uint32_t max) {
    const bool isNatural = value.is_number_unsigned() || (value.is_number_integer() && value.get<std::int64_t>() >= 0);
    if (!isNatural || value.get<std::uint64_t>() > max) {
        return std::nullopt;
    }
    return value.get<std::uint32_t>();
}

constexpr const char* LoadableObjectTypes = "the object types 1, 2, 3, 9, 11 and 40960";

std::optional<std::uint16_t> ToLoadableObject(const nlohmann::json& value) {
    const auto known = DownloadRequest::EverythingLoadable();
    const auto type = ToNumber(value, std::numeric_limits<std::uint16_t>::max());
    if (!type || std::find(known.begin(), known.end(), *type) == known.end()) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(*type);
}

}  // namespace

nlohmann::json ParseRequest(const std::string& line) {
    using Json = nlohmann::json;
    constexpr std::size_t DeepestNesting = 16;
    std::vector<std::set<std::string>> open;  // objects and arrays, with the members so far
    const auto check = [&open](int, Json::parse_event_t event, const Json& part) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                if (open.size() == DeepestNesting) {
                    throw ControlError("a request is nested " + std::to_string(DeepestNesting) +
                                       " levels deep at most");
                }
                open.emplace_back();
                break;
            case Json::parse_event_t::object_end:
            case Json::parse_event_t::array_end:
                open.pop_back();
                break;
            case Json::parse_event_t::key:
                if (!open.back().insert(part.get<std::string>()).second) {
                    throw ControlError(part.dump() + " stands twice in one object");
                }
                break;
            case Json::parse_event_t::value:
                break;
        }
        return true;
    };
    // The parser takes a NUL for the end of the line.
    auto request =
        line.find('\0') == std::string::npos ? Json::parse(line, check, false) : Json(Json::value_t::discarded);
    if (request.is_discarded()) {
        throw ControlError("this is no JSON");
    }
    return request;
}

void RequireNoNul(const nlohmann::json& value, const char* member) {
    if (value.is_string() && value.get_ref<const std::string&>().find('\0') != std::string::npos) {
        Refuse(member, "a text without NUL");
    }
}

std::optional<std::string> FindText(const nlohmann::json& request, const char* member) {
    const auto* const value = Find(request, member);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        Refuse(member, "a text");
    }
    RequireNoNul(*value, member);
    return value->get<std::string>();
}

std::optional<std::uint32_t> FindNumber(const nlohmann::json& request, const char* member, std::uint32_t max) {
    const auto* const value = Find(request, member);
    if (value == nullptr) {
        return std::nullopt;
    }
    const auto number = ToNumber(*value, max);
    if (!number) {
        Refuse(member, "a whole number from 0 to " + std::to_string(max));
    }
    return number;
}

std::optional<bool> FindBoolean(const nlohmann::json& request, const char* member) {
    const auto* const value = Find(request, member);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_boolean()) {
        Refuse(member, "true or false");
    }
    return value->get<bool>();
}

std::optional<std::uint16_t> FindObject(const nlohmann::json& request, const char* member) {
    const auto* const value = Find(request, member);
    if (value == nullptr) {
        return std::nullopt;
    }
    const auto type = ToLoadableObject(*value);
    if (!type) {
        Refuse(member, std::string("one of ") + LoadableObjectTypes);
    }
    return type;
}

std::optional<std::vector<std::uint16_t>> FindObjects(const nlohmann::json& request, const char* member) {
    const auto* const value = Find(request, member);
    if (value == nullptr) {
        return std::nullopt;
    }
    std::vector<std::uint16_t> objects;
    for (const auto& element : value->is_array() ? *value : nlohmann::json::array({nullptr})) {
        const auto type = ToLoadableObject(element);
        if (!type) {
            Refuse(member, std::string("an array of ") + LoadableObjectTypes);
        }
        objects.push_back(*type);
    }
    return objects;
}

std::uint16_t GetGroupAddress(const nlohmann::json& request) {
    const auto text = FindText(request, "address");
    const auto address = text ? ParseGroupAddress(*text) : std::nullopt;
    if (!address) {
        Refuse("address", "a group address such as \"1/0/2\"");
    }
    return *address;
}

}  // namespace LocalDevice
