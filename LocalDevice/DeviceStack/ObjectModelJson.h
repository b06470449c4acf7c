#pragma once

#include <nlohmann/json.hpp>

#include "ObjectModel.h"
#include "ValueText.h"

namespace LocalDevice {

/// What goes out keeps the order in which it was put together: it is read by people, too.
using OutgoingJson = nlohmann::ordered_json;

/// The members "value" and, where the value's text is not UTF-8, "encoding".
void AddValue(OutgoingJson& object, const Zandrel::ZANVALUE& value, ValueFormat format);

/// One device with its channels and their data points, with the keys of the configuration document; value and default
/// value in the given format under "value" and "defaultValue".
OutgoingJson ToJson(const ObjectModel& model, const Device& device, ValueFormat format);

}  // namespace LocalDevice
