#include "SupervisorRequest.h"

#include <nlohmann/json.hpp>

namespace LocalDevice {

SupervisorRequest ParseSupervisorRequest(const std::string& line) {
    const nlohmann::json json = nlohmann::json::parse(line, nullptr, false);
    if (!json.is_object()) {
        return BadRequest{"it is no JSON object"};
    }
    const auto request = json.find("request");
    const auto from = json.find("from");
    if (request == json.end() || !request->is_string() || from == json.end() || !from->is_number_integer()) {
        return BadRequest{R"(it lacks a text "request" and a number "from")"};
    }
    const auto sender = from->get<int>();
    if (*request == "runLedOff") {
        return RunLedOffRequest{sender};
    }
    if (*request != "restart") {
        return BadRequest{"its kind is unknown"};
    }
    const auto factoryReset = json.find("factoryReset");
    if (factoryReset == json.end() || !factoryReset->is_boolean()) {
        return BadRequest{R"(it lacks "factoryReset", true or false)"};
    }
    return RestartRequest{factoryReset->get<bool>(), sender};
}

}  // namespace LocalDevice
