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
    OutgoingJson json{{"id", point.id}};
    Add(json, point.properties);
    Add(json, "valueType", point.valueType);
    Add(json, "valueSubtype", point.valueSubtype);
    if (point.defaultValue) {
        json["defaultValue"] = ToText(*point.defaultValue, format);
    }
    if (point.value) {
        AddValue(json, *point.value, format);
    }
    AddDigit(json, "eventAlways", point.eventAlways);
    AddDigits(json, "cacheTimeout", point.cacheTimeout);
    AddDigits(json, "pollingInterval", point.pollingInterval);
    AddDigit(json, "changedOnly", point.changedOnly);
    Add(json, "operations", point.operations);
    Add(json, "defaultValueInit", point.defaultValueInit);
    Add(json, point.metadata);
    return json;
}

OutgoingJson ToJson(const ObjectModel& model, const Channel& channel, ValueFormat format) {
    OutgoingJson json{{"id", channel.id}};
    Add(json, channel.properties);
    OutgoingJson points = OutgoingJson::array();
    for (const ObjectId id : channel.dataPoints) {
        points.push_back(ToJson(*model.FindDataPoint(id), format));
    }
    json["datapoints"] = std::move(points);
    return json;
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
    OutgoingJson json{{"id", device.id}};
    Add(json, device.properties);
    OutgoingJson channels = OutgoingJson::array();
    for (const ObjectId id : device.channels) {
        channels.push_back(ToJson(model, *model.FindChannel(id), format));
    }
    json["channels"] = std::move(channels);
    Add(json, device.metadata);
    return json;
}

}  // namespace LocalDevice
