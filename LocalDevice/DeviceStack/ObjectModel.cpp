#include "ObjectModel.h"

#include "RequestError.h"

namespace LocalDevice {

namespace {

using Zandrel::ZANVALUE;

template <typename Record>
const Record* Find(const std::map<ObjectId, Record>& records, ObjectId id) {
    const auto found = records.find(id);
    return found == records.end() ? nullptr : &found->second;
}

std::size_t Weigh(const std::optional<std::string>& text) {
    return text ? text->size() : 0;
}

std::size_t Weigh(const std::optional<ZANVALUE>& value) {
    return value && value->GetType() == ZANVALUE::Type::Text ? value->ToString().size() : 0;
}

std::size_t Weigh(const Metadata& metadata) {
    std::size_t weight = metadata.size() * sizeof(Metadata::value_type);
    for (const auto& [key, value] : metadata) {
        weight += key.size() + value.size();
    }
    return weight;
}

std::size_t Weigh(const DataPoint& point) {
    return sizeof(point) + Weigh(point.properties.name) + Weigh(point.valueType) + Weigh(point.valueSubtype) +
           Weigh(point.defaultValue) + Weigh(point.value) + Weigh(point.operations) + Weigh(point.defaultValueInit) +
           Weigh(point.metadata);
}

std::size_t Weigh(const Channel& channel) {
    return sizeof(channel) + Weigh(channel.properties.name);
}

std::size_t Weigh(const Device& device) {
    return sizeof(device) + Weigh(device.properties.name) + Weigh(device.metadata);
}

template <typename Record>
std::size_t WeighAll(const std::vector<Record>& records) {
    std::size_t weight = 0;
    for (const Record& record : records) {
        weight += Weigh(record);
    }
    return weight;
}

}  // namespace

const Device* ObjectModel::FindDevice(ObjectId id) const {
    return Find(devices_, id);
}

const Channel* ObjectModel::FindChannel(ObjectId id) const {
    return Find(channels_, id);
}

const DataPoint* ObjectModel::FindDataPoint(ObjectId id) const {
    return Find(dataPoints_, id);
}

const Properties* ObjectModel::FindProperties(ObjectId id) const {
    if (const DataPoint* point = FindDataPoint(id)) {
        return &point->properties;
    }
    if (const Channel* channel = FindChannel(id)) {
        return &channel->properties;
    }
    const Device* device = FindDevice(id);
    return device != nullptr ? &device->properties : nullptr;
}

std::set<ObjectId> ObjectModel::Apply(ModelChange change) {
    const std::size_t removed = WeightOfReplaced(change);
    const std::size_t added = WeighAll(change.devices) + WeighAll(change.channels) + WeighAll(change.dataPoints);
    ChangeWeight(added, removed);

    std::set<ObjectId> devices;
    for (Device& device : change.devices) {
        devices.insert(device.id);
        Device& record = devices_[device.id];
        device.channels = std::move(record.channels);
        record = std::move(device);
    }
    for (Channel& channel : change.channels) {
        devices.insert(channel.device);
        RemoveDataPoints(channel.id);
        devices_.at(channel.device).channels.insert(channel.id);
        channel.dataPoints.clear();
        channels_[channel.id] = std::move(channel);
    }
    for (DataPoint& point : change.dataPoints) {
        Channel& channel = channels_.at(point.channel);
        devices.insert(channel.device);
        channel.dataPoints.insert(point.id);
        dataPoints_[point.id] = std::move(point);
    }
    return devices;
}

ObjectId ObjectModel::SetProperties(ObjectId id, Properties properties) {
    Properties* target = nullptr;
    ObjectId device = id;
    if (const auto point = dataPoints_.find(id); point != dataPoints_.end()) {
        target = &point->second.properties;
        device = channels_.at(point->second.channel).device;
    } else if (const auto channel = channels_.find(id); channel != channels_.end()) {
        target = &channel->second.properties;
        device = channel->second.device;
    } else {
        target = &devices_.at(id).properties;
    }
    const std::size_t removed = Weigh(target->name);
    const std::size_t added = Weigh(properties.name);
    ChangeWeight(added, removed);
    *target = std::move(properties);
    return device;
}

bool ObjectModel::SetValue(ObjectId id, ZANVALUE value) {
    DataPoint& point = dataPoints_.at(id);
    std::optional<ZANVALUE> next;
    if (value.GetType() != ZANVALUE::Type::None) {
        next = std::move(value);
    }
    const std::size_t removed = Weigh(point.value);
    const std::size_t added = Weigh(next);
    ChangeWeight(added, removed);

    const bool unchanged = next && point.value ? HaveSameContent(*next, *point.value) : next == point.value;
    point.value = std::move(next);
    return !unchanged || point.eventAlways.value_or(false);
}

void ObjectModel::ChangeWeight(std::size_t added, std::size_t removed) {
    if (added > removed && weight_ - removed + added > maximumWeight_) {
        throw RequestError("the object model is full: it holds " + std::to_string(weight_) + " of " +
                           std::to_string(maximumWeight_) + " bytes");
    }
    weight_ = weight_ - removed + added;
}

std::size_t ObjectModel::WeightOfReplaced(const ModelChange& change) const {
    std::size_t weight = 0;
    std::set<ObjectId> replacedChannels;
    for (const Device& device : change.devices) {
        if (const Device* earlier = FindDevice(device.id)) {
            weight += Weigh(*earlier);
        }
    }
    for (const Channel& channel : change.channels) {
        if (const Channel* earlier = FindChannel(channel.id)) {
            replacedChannels.insert(channel.id);
            weight += Weigh(*earlier);
            for (const ObjectId point : earlier->dataPoints) {
                weight += Weigh(dataPoints_.at(point));
            }
        }
    }
    for (const DataPoint& point : change.dataPoints) {
        const DataPoint* earlier = FindDataPoint(point.id);
        if (earlier != nullptr && replacedChannels.count(earlier->channel) == 0) {
            weight += Weigh(*earlier);
        }
    }
    return weight;
}

void ObjectModel::RemoveDataPoints(ObjectId channel) {
    const Channel* earlier = FindChannel(channel);
    if (earlier == nullptr) {
        return;
    }
    for (const ObjectId point : earlier->dataPoints) {
        dataPoints_.erase(point);
    }
}

bool HaveSameContent(const ZANVALUE& a, const ZANVALUE& b) {
    if (a == b) {
        return true;
    }
    const bool oneIsText = (a.GetType() == ZANVALUE::Type::Text) != (b.GetType() == ZANVALUE::Type::Text);
    return oneIsText && a.ToString() == b.ToString();
}

}  // namespace LocalDevice
