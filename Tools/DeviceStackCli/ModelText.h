#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

namespace LocalDevice {

/// What an id stands for, such as "CO 5 value"; empty where the id scheme does not know it.
std::string DescribeId(unsigned long id);

/// A serialised value with its type, such as "integer 42".
std::string DescribeValue(const std::string& serialised);

/// A text in double quotes, on one line whatever it holds.
std::string Quote(const std::string& text);

/// Print a device with all that it holds, a channel with its data points, a data point: one line each, with its
/// metadata on the lines below. `json`: of the object model, with serialised values.
void PrintDevice(std::ostream& stream, const nlohmann::ordered_json& json);
void PrintChannel(std::ostream& stream, const nlohmann::ordered_json& json, const std::string& indentation);
void PrintDataPoint(std::ostream& stream, const nlohmann::ordered_json& json, const std::string& indentation);

}  // namespace LocalDevice
