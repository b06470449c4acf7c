#include "Output/EventJson.h"

#include <log4cplus/loglevel.h>

#include <nlohmann/json.hpp>

#include "GroupObjects/ValueFormat.h"
#include "GroupObjects/ValueText.h"
#include "KnxAddress.h"
#include "Output/EventText.h"

namespace LocalDevice {

namespace {

nlohmann::json ToJson(const TelegramEvent& event) {
    nlohmann::json json{
        {"event", "telegram"},
        {"direction", event.isIncoming ? "in" : "out"},
        {"service", ToText(event.telegram.service)},
        {"address", FormatGroupAddress(event.telegram.groupAddress)},
        {"source", FormatIndividualAddress(event.telegram.source)},
        {"object", event.number},
        {"name", event.name},
        {"dpt", FormatDpt(event.dpt)},
        {"verdict", ToText(event.verdict)},
        {"reason", event.reason},
    };
    if (event.telegram.service == GroupService::Read) {
        return json;
    }
    json["raw"] = FormatHex(event.telegram.data);
    const auto text = event.value ? GetValueText(*event.value, event.dpt) : std::nullopt;
    if (text) {
        json["value"] = *text;
    }
    return json;
}

nlohmann::json ToJson(const RunStateEvent& event) {
    return {{"event", "runState"}, {"state", ToText(event.state)}};
}

nlohmann::json ToJson(const LoadStateEvent& event) {
    return {{"event", "loadState"}, {"object", event.objectType}, {"state", ToText(event.state)}};
}

nlohmann::json ToJson(const BusEvent& event) {
    return {{"event", "bus"}, {"connected", event.isConnected}, {"text", event.text}};
}

nlohmann::json ToJson(const LogEvent& event) {
    return {{"event", "log"},
            {"level", log4cplus::getLogLevelManager().toString(event.level)},
            {"text", event.text},
            {"brief", CompactLogText(event.level, event.text)}};
}

nlohmann::json ToJson(const MessageEvent& event) {
    return {{"event", "message"}, {"problem", event.isProblem}, {"text", event.text}};
}

}  // namespace

nlohmann::json MakeEventJson(const HostEvent& event) {
    auto json = std::visit([](const auto& body) { return ToJson(body); }, event.body);
    json["time"] = FormatTime(event.time);
    return json;
}

std::string MakeJsonText(const nlohmann::json& document) {
    return document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace LocalDevice
