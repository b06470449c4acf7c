#include "DeviceStackFrame.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "Zandrel/WireText.h"

namespace Ostra {
namespace {

std::optional<unsigned long> ReadNumber(const nlohmann::json& object, const char* name) {
    const auto member = object.find(name);
    if (member == object.end() || !member->is_number_unsigned()) {
        return std::nullopt;
    }
    const auto number = member->get<std::uint64_t>();
    if (number > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<unsigned long>(number);
}

std::optional<std::string> ReadText(const nlohmann::json& object, const char* name) {
    const auto member = object.find(name);
    if (member == object.end() || !member->is_string()) {
        return std::nullopt;
    }
    return member->get<std::string>();
}

std::optional<DeviceStackFrame> ReadAnswer(const nlohmann::json& object, const std::string& text) {
    const auto number = ReadNumber(object, "request");
    if (!number) {
        return std::nullopt;
    }
    if (auto error = ReadText(object, "error")) {
        return AnswerFrame{*number, false, std::move(*error)};
    }
    if (!object.contains("response")) {
        return std::nullopt;
    }
    return AnswerFrame{*number, true, text};
}

std::optional<DeviceStackFrame> ReadEvent(const nlohmann::json& object) {
    const auto event = ReadText(object, "event");
    if (event == "emitted") {
        auto eventType = ReadText(object, "eventType");
        return eventType ? std::make_optional<DeviceStackFrame>(EventEmittedFrame{std::move(*eventType)})
                         : std::nullopt;
    }
    const auto id = ReadNumber(object, "id");
    if (!id) {
        return std::nullopt;
    }
    if (event == "configurationChanged") {
        return ConfigurationChangedFrame{*id};
    }
    auto value = Zandrel::ReadValueMembers(object);
    if (event != "valueChanged" || !value) {
        return std::nullopt;
    }
    return ValueChangedFrame{*id, *event, std::move(*value)};
}

}  // namespace

std::optional<DeviceStackFrame> ParseDeviceStackFrame(const std::string& text) {
    if (const auto change = Zandrel::ReadPlainValueFrame(text, R"({"event":"valueChanged","id":)")) {
        return ValueChangedFrame{change->id, "valueChanged", std::string(change->value)};
    }
    // The parser takes a NUL for the end of its input.
    const auto object =
        text.find('\0') == std::string::npos ? nlohmann::json::parse(text, nullptr, false) : nlohmann::json();
    if (!object.is_object()) {
        return std::nullopt;
    }
    if (object.contains("request")) {
        return ReadAnswer(object, text);
    }
    if (object.contains("event")) {
        return ReadEvent(object);
    }
    if (auto complaint = ReadText(object, "error")) {
        return ComplaintFrame{std::move(*complaint)};
    }
    return std::nullopt;
}

}  // namespace Ostra
