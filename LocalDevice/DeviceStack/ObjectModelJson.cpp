#include "ObjectModelJson.h"

#include <utility>

namespace LocalDevice {

namespace {

template <typename Field>
void Add(OutgoingJson& object, const char* key, const std::optional<Field>& field) {
    if (field) {
        object[key] = *field;
    }
}

void AddDigit(OutgoingJson& object, const char* key, const std::optional<bool>& field) {
    if (field) {
        object[key] = *field ? "1" : "0";
    }
}

void AddDigits(OutgoingJson& object, const char* key, const std::optional<int>& field) {
    if (field) {
        object[key] = std::to_string(*field);
    }
}

void Add(OutgoingJson& object, const Properties& properties) {
    Add(object, "name", properties.name);
    Add(object, "enabled", properties.enabled);
    Add(object, "visible", properties.visible);
}

void Add(OutgoingJson& object, const Metadata& metadata) {
    if (metadata.empty()) {
        return;
    }
    OutgoingJson& pairs = object["metadata"];
    for (const auto& [key, value] : metadata) {
        pairs.push_back({{"key", key}, {"value", value}});
    }
}

OutgoingJson ToJson(const DataPoint& point, ValueFormat format) {
    OutgoingJson object{{"id", point.id}};
    Add(object, point.properties);
    Add(object, "valueType", point.valueType);
    Add(object, "valueSubtype", point.valueSubtype);
    if (point.defaultValue) {
        object["defaultValue"] = ToText(*point.defaultValue, format);
    }
    if (point.value) {
        AddValue(object, *point.value, format);
    }
    AddDigit(object, "eventAlways", point.eventAlways);
    AddDigits(object, "cacheTimeout", point.cacheTimeout);
    AddDigits(object, "pollingInterval", point.pollingInterval);
    AddDigit(object, "changedOnly", point.changedOnly);
    Add(object, "operations", point.operations);
    Add(object, "defaultValueInit", point.defaultValueInit);
    Add(object, point.metadata);
    return object;
}

OutgoingJson ToJson(const ObjectModel& model, const Channel& channel, ValueFormat format) {
    OutgoingJson object{{"id", channel.id}};
    Add(object, channel.properties);
    OutgoingJson points = OutgoingJson::array();
    for (const ObjectId id : channel.dataPoints) {
        points.push_back(ToJson(*model.FindDataPoint(id), format));
    }
    object["datapoints"] = std::move(points);
    return object;
}

}  // namespace

void AddValue(OutgoingJson& object, const Zandrel::ZANVALUE& value, ValueFormat format) {
    TravellingText text = Pack(ToText(value, format));
    object["value"] = std::move(text.text);
    if (text.isLatin1) {
        object["encoding"] = "latin-1";
    }
}

OutgoingJson ToJson(const ObjectModel& model, const Device& device, ValueFormat format) {
    OutgoingJson object{{"id", device.id}};
    Add(object, device.properties);
    OutgoingJson channels = OutgoingJson::array();
    for (const ObjectId id : device.channels) {
        channels.push_back(ToJson(model, *model.FindChannel(id), format));
    }
    object["channels"] = std::move(channels);
    Add(object, device.metadata);
    return object;
}

}  // namespace LocalDevice
