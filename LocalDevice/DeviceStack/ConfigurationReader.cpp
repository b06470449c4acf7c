#include "ConfigurationReader.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "JsonFields.h"
#include "RequestError.h"
#include "ValueText.h"

namespace LocalDevice {

namespace {

using nlohmann::json;
using Zandrel::ZANVALUE;

/// Calls `read` with each element of an array and its place; a missing array has none.
template <typename Read>
void ForEach(const JsonFields& fields, std::string_view key, Read read) {
    const json* array = fields.GetArray(key);
    if (array == nullptr) {
        return;
    }
    const Place place = fields.At(key);
    for (std::size_t i = 0; i < array->size(); ++i) {
        read((*array)[i], Place(place, i));
    }
}

template <typename Field>
void Merge(std::optional<Field> given, std::optional<Field>& field) {
    if (given) {
        field = std::move(given);
    }
}

void MergeMetadata(const JsonFields& fields, Metadata& metadata) {
    if (fields.GetArray("metadata") == nullptr) {
        return;
    }
    metadata.clear();
    ForEach(fields, "metadata", [&metadata](const json& element, const Place& place) {
        const JsonFields pair(element, place);
        metadata.emplace_back(pair.NeedString("key"), pair.NeedString("value"));
    });
}

/// A value stands under one of two keys: serialised under the internal one, plain under the other.
void MergeValue(const JsonFields& fields, std::string_view plainKey, std::string_view internalKey,
                const DataPoint& point, std::optional<ZANVALUE>& value) {
    const std::optional<std::string> plain = fields.GetString(plainKey);
    const std::optional<std::string> internal = fields.GetString(internalKey);
    if (plain && internal) {
        fields.Refuse(internalKey, "is given beside " + std::string(plainKey));
    }
    if (!plain && !internal) {
        return;
    }
    ZANVALUE given =
        internal ? FromSerialised(*internal, fields.At(internalKey)) : FromPlain(*plain, point, fields.At(plainKey));
    value = given.GetType() == ZANVALUE::Type::None ? std::nullopt : std::optional(std::move(given));
}

void MergeDataPoint(const JsonFields& fields, DataPoint& point) {
    MergeProperties(fields, point.properties);
    Merge(fields.GetString("valueType"), point.valueType);
    Merge(fields.GetString("valueSubtype"), point.valueSubtype);
    MergeValue(fields, "defaultValue", "internalDefaultValue", point, point.defaultValue);
    MergeValue(fields, "value", "internalValue", point, point.value);
    Merge(fields.GetDigitBool("eventAlways"), point.eventAlways);
    Merge(fields.GetDigitInt("cacheTimeout"), point.cacheTimeout);
    Merge(fields.GetDigitInt("pollingInterval"), point.pollingInterval);
    Merge(fields.GetDigitBool("changedOnly"), point.changedOnly);
    Merge(fields.GetString("operations"), point.operations);
    Merge(fields.GetString("defaultValueInit"), point.defaultValueInit);
    MergeMetadata(fields, point.metadata);
}

}  // namespace

ModelChange ConfigurationReader::Read(const ObjectModel& model, const json& document, const Place& place) {
    ConfigurationReader reader(model);
    const JsonFields fields(document, place);
    ForEach(fields, "devices", [&reader](const json& device, const Place& at) { reader.ReadDevice(device, at); });
    ForEach(fields, "channels",
            [&reader](const json& channel, const Place& at) { reader.ReadKnownChannel(channel, at); });
    ForEach(fields, "datapoints",
            [&reader](const json& point, const Place& at) { reader.ReadKnownDataPoint(point, at); });
    reader.CheckClaims();
    return std::move(reader.change_);
}

void ConfigurationReader::ReadDevice(const json& json, const Place& place) {
    const JsonFields fields(json, place);
    const ObjectId id = ReadId(fields, Kind::Device, 0);
    const Device* known = model_.FindDevice(id);
    Device device = known != nullptr ? *known : Device{};
    device.id = id;
    MergeProperties(fields, device.properties);
    MergeMetadata(fields, device.metadata);
    ForEach(fields, "channels", [this, id](const nlohmann::json& channel, const Place& at) {
        const JsonFields channelFields(channel, at);
        ReadChannel(channelFields, ReadId(channelFields, Kind::Channel, id), id);
    });
    change_.devices.push_back(std::move(device));
}

void ConfigurationReader::ReadKnownChannel(const json& json, const Place& place) {
    const JsonFields fields(json, place);
    const ObjectId id = ReadIdOnce(fields);
    const Channel* known = model_.FindChannel(id);
    if (known == nullptr) {
        fields.Refuse("id", "no channel has the id " + std::to_string(id));
    }
    ReadChannel(fields, id, known->device);
}

void ConfigurationReader::ReadChannel(const JsonFields& fields, ObjectId id, ObjectId device) {
    replacedChannels_.insert(id);
    Channel channel;
    channel.id = id;
    channel.device = device;
    MergeProperties(fields, channel.properties);
    ForEach(fields, "datapoints", [this, id](const json& json, const Place& at) {
        const JsonFields pointFields(json, at);
        DataPoint point;
        point.id = ReadId(pointFields, Kind::DataPoint, id);
        point.channel = id;
        MergeDataPoint(pointFields, point);
        change_.dataPoints.push_back(std::move(point));
    });
    change_.channels.push_back(std::move(channel));
}

void ConfigurationReader::ReadKnownDataPoint(const json& json, const Place& place) {
    const JsonFields fields(json, place);
    const ObjectId id = ReadIdOnce(fields);
    const DataPoint* known = model_.FindDataPoint(id);
    if (known == nullptr || replacedChannels_.count(known->channel) != 0) {
        fields.Refuse("id", "no data point has the id " + std::to_string(id));
    }
    DataPoint point = *known;
    MergeDataPoint(fields, point);
    change_.dataPoints.push_back(std::move(point));
}

ObjectId ConfigurationReader::ReadId(const JsonFields& fields, Kind kind, ObjectId parent) {
    const ObjectId id = ReadIdOnce(fields);
    if (kind != Kind::Device && model_.FindDevice(id) != nullptr) {
        fields.Refuse("id", std::to_string(id) + " is a device");
    }
    const Channel* channel = model_.FindChannel(id);
    if (channel != nullptr && (kind != Kind::Channel || channel->device != parent)) {
        fields.Refuse("id", std::to_string(id) + " is a channel of device " + std::to_string(channel->device));
    }
    const DataPoint* point = model_.FindDataPoint(id);
    if (point != nullptr && (kind != Kind::DataPoint || point->channel != parent)) {
        claims_.push_back({point->channel, fields.At("id").ToString() + ": " + std::to_string(id) +
                                               " is a data point of channel " + std::to_string(point->channel)});
    }
    return id;
}

ObjectId ConfigurationReader::ReadIdOnce(const JsonFields& fields) {
    const ObjectId id = fields.NeedNumber("id");
    if (!givenIds_.insert(id).second) {
        fields.Refuse("id", std::to_string(id) + " is given twice");
    }
    return id;
}

void ConfigurationReader::CheckClaims() const {
    for (const Claim& claim : claims_) {
        if (replacedChannels_.count(claim.channel) == 0) {
            throw RequestError(claim.refusal);
        }
    }
}

void MergeProperties(const JsonFields& fields, Properties& properties) {
    Merge(fields.GetString("name"), properties.name);
    Merge(fields.GetBool("enabled"), properties.enabled);
    Merge(fields.GetBool("visible"), properties.visible);
}

}  // namespace LocalDevice
