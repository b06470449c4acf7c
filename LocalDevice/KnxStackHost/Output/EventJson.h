#pragma once

#include <nlohmann/json_fwd.hpp>

#include "Output/HostEvents.h"

namespace LocalDevice {

/// The event as the control socket sends it.
nlohmann::json MakeEventJson(const HostEvent& event);

/// The document on one line, without line feed. Bytes that are not UTF-8 become U+FFFD.
std::string MakeJsonText(const nlohmann::json& document);

}  // namespace LocalDevice
