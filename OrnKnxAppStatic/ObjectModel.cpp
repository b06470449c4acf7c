#include "ObjectModel.h"

namespace Zandrel {

namespace {

template <typename Record>
Record& FindOrAdd(std::map<unsigned long, Record>& records, unsigned long id) {
    Record& record = records[id];
    record.id = id;
    return record;
}

}  // namespace

Device& AddDevice(Configuration& configuration, unsigned long id) {
    return FindOrAdd(configuration.devices, id);
}

Channel& AddChannel(Device& device, unsigned long id) {
    return FindOrAdd(device.channels, id);
}

bool AddDataPoint(DataPoints& datapoints, unsigned long id, std::optional<std::string> value, bool eventAlways) {
    DataPoint datapoint;
    datapoint.id = id;
    datapoint.enabled = true;
    datapoint.visible = true;
    datapoint.internal = !value;
    datapoint.value = std::move(value).value_or(NoContent);
    datapoint.eventAlways = eventAlways;
    if (eventAlways) {
        datapoint.changedOnly = false;
    }
    datapoint.defaultValueInit = "None";
    InsertDataPoint(datapoints, std::move(datapoint));
    return true;
}

DataPoint& InsertDataPoint(DataPoints& datapoints, DataPoint datapoint) {
    const unsigned long id = datapoint.id;
    return datapoints.emplace_hint(datapoints.end(), id, std::move(datapoint))->second;
}

}  // namespace Zandrel
