#pragma once

#include <optional>
#include <string>

#include "Zandrel/ZanValue.h"
#include "orn/app.h"

namespace LocalDevice {

/// A value as the app interface has it; none for the value without content. A text lies in `text`, which must outlive
/// the result.
std::optional<orn_value> ToAppValue(const Zandrel::ZANVALUE& value, std::string& text);

/// A value of an app; none where its type does not exist or its text is a null pointer.
std::optional<Zandrel::ZANVALUE> FromAppValue(const orn_value& value);

}  // namespace LocalDevice
