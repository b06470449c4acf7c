#include "JsonFields.h"

#include <charconv>
#include <limits>

namespace LocalDevice {

JsonFields::JsonFields(const nlohmann::json& object, const Place& place) : object_(&object), place_(&place) {
    if (!object.is_object()) {
        place.Refuse("expected an object");
    }
}

std::optional<std::string> JsonFields::GetString(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (!member->is_string()) {
        Refuse(key, "expected a string");
    }
    return member->get<std::string>();
}

std::optional<bool> JsonFields::GetBool(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (!member->is_boolean()) {
        Refuse(key, "expected true or false");
    }
    return member->get<bool>();
}

std::optional<bool> JsonFields::GetDigitBool(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (*member != "0" && *member != "1") {
        Refuse(key, R"(expected "0" or "1")");
    }
    return *member == "1";
}

std::optional<int> JsonFields::GetDigitInt(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member == nullptr) {
        return std::nullopt;
    }
    int number = 0;
    if (member->is_string()) {
        const auto& text = member->get_ref<const std::string&>();
        const char* end = text.data() + text.size();
        const auto [parsed, error] = std::from_chars(text.data(), end, number);
        if (error == std::errc() && parsed == end) {
            return number;
        }
    }
    Refuse(key, "expected a string that holds a decimal number of 32 bits");
}

std::optional<std::uint32_t> JsonFields::GetNumber(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member == nullptr) {
        return std::nullopt;
    }
    return ReadNumber(key, *member);
}

std::uint32_t JsonFields::ReadNumber(std::string_view key, const nlohmann::json& member) const {
    constexpr std::uint64_t Maximum = std::numeric_limits<std::uint32_t>::max();
    if (!member.is_number_unsigned() || member == 0U || member.get<std::uint64_t>() > Maximum) {
        Refuse(key, "expected a number from 1 to " + std::to_string(Maximum));
    }
    return member.get<std::uint32_t>();
}

std::optional<std::vector<std::uint32_t>> JsonFields::GetNumbers(std::string_view key) const {
    const nlohmann::json* array = GetArray(key);
    if (array == nullptr) {
        return std::nullopt;
    }
    std::vector<std::uint32_t> numbers;
    numbers.reserve(array->size());
    for (const nlohmann::json& member : *array) {
        numbers.push_back(ReadNumber(key, member));
    }
    return numbers;
}

const nlohmann::json* JsonFields::GetArray(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member != nullptr && !member->is_array()) {
        Refuse(key, "expected an array");
    }
    return member;
}

const nlohmann::json* JsonFields::GetObject(std::string_view key) const {
    const nlohmann::json* member = Find(key);
    if (member != nullptr && !member->is_object()) {
        Refuse(key, "expected an object");
    }
    return member;
}

std::string JsonFields::NeedString(std::string_view key) const {
    std::optional<std::string> text = GetString(key);
    if (!text) {
        Refuse(key, "is missing; expected a string");
    }
    return *std::move(text);
}

std::uint32_t JsonFields::NeedNumber(std::string_view key) const {
    const std::optional<std::uint32_t> number = GetNumber(key);
    if (!number) {
        Refuse(key, "is missing; expected a number");
    }
    return *number;
}

const nlohmann::json* JsonFields::Find(std::string_view key) const {
    const auto member = object_->find(key);
    return member == object_->end() ? nullptr : &*member;
}

}  // namespace LocalDevice
