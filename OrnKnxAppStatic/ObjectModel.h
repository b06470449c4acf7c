#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Zandrel {

/// Keys and values, in the order of their insertion.
using Metadata = std::vector<std::pair<std::string, std::string>>;

// The records of the device stack's object model. Each is keyed by its object-model id; a field that is not set is left
// as the device stack has it.

/// One value.
struct DataPoint {
    unsigned long id = 0;
    std::optional<std::string> name;
    std::optional<bool> enabled;
    std::optional<bool> visible;
    std::optional<std::string> valueType;
    std::optional<std::string> valueSubtype;
    std::optional<std::string> defaultValue;
    std::optional<std::string> value;
    std::optional<bool> eventAlways;  ///< a value that equals the one before is reported too
    std::optional<int> cacheTimeout;  ///< passed through, as the two below
    std::optional<int> pollingInterval;
    std::optional<bool> changedOnly;
    std::optional<std::string> operations;
    std::optional<std::string> defaultValueInit;  ///< what a new point starts with: "Value" its default, "None" nothing
    Metadata metadata;
    bool internal = false;  ///< value and defaultValue are serialised `ZANVALUE`s instead of plain text
};

using DataPoints = std::map<unsigned long, DataPoint>;

/// A group of data points that belong together, such as one communication object's.
struct Channel {
    unsigned long id = 0;
    std::optional<std::string> name;
    std::optional<bool> enabled;
    std::optional<bool> visible;
    DataPoints datapoints;
};

using Channels = std::map<unsigned long, Channel>;

struct Device {
    unsigned long id = 0;
    std::optional<std::string> name;
    std::optional<bool> enabled;
    std::optional<bool> visible;
    Channels channels;
    Metadata metadata;
};

/// What one document holds.
struct Configuration {
    std::map<unsigned long, Device> devices;
    Channels channels;      ///< those that no device of this configuration holds
    DataPoints datapoints;  ///< those that no channel of this configuration holds
};

/// The device `id`, added with nothing but its id where there is none. The reference lasts as long as the record.
Device& AddDevice(Configuration& configuration, unsigned long id);

/// The channel `id` of `device`, added with nothing but its id where there is none.
Channel& AddChannel(Device& device, unsigned long id);

/// Adds an enabled, visible data point that starts with `value`, or without a value's content where there is none.
/// `eventAlways` also says whether changes alone may be reported: the flag for that is cleared, or left open. Always
/// true.
bool AddDataPoint(DataPoints& datapoints, unsigned long id, std::optional<std::string> value, bool eventAlways);

/// Inserts `datapoint` under its id; one that is there already stays as it is. Returns the one that is stored.
DataPoint& InsertDataPoint(DataPoints& datapoints, DataPoint datapoint);

/// The value without content, serialised.
constexpr const char* NoContent = "1.1:";

}  // namespace Zandrel
