#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// Names one object, whatever its kind. Never 0.
using ObjectId = std::uint32_t;

/// Pairs of a key and a value, in the order of the document.
using Metadata = std::vector<std::pair<std::string, std::string>>;

/// What can be set of every kind of object, one by one. Texts are UTF-8 throughout.
struct Properties {
    std::optional<std::string> name;
    std::optional<bool> enabled;
    std::optional<bool> visible;
};

struct DataPoint {
    ObjectId id = 0;
    ObjectId channel = 0;
    Properties properties;
    std::optional<std::string> valueType;  ///< number of a type of `ZANVALUE`; another text declares nothing
    std::optional<std::string> valueSubtype;
    std::optional<Zandrel::ZANVALUE> defaultValue;  ///< never without content
    std::optional<Zandrel::ZANVALUE> value;         ///< never without content
    std::optional<bool> eventAlways;
    std::optional<int> cacheTimeout;
    std::optional<int> pollingInterval;
    std::optional<bool> changedOnly;
    std::optional<std::string> operations;
    std::optional<std::string> defaultValueInit;
    Metadata metadata;
};

struct Channel {
    ObjectId id = 0;
    ObjectId device = 0;
    Properties properties;
    std::set<ObjectId> dataPoints;
};

struct Device {
    ObjectId id = 0;
    Properties properties;
    Metadata metadata;
    std::set<ObjectId> channels;
};

/// Complete new records: a device or data point of a known id takes the place of the earlier record, a channel that of
/// the earlier channel and all its points. Every parent is known to the model or part of the change, no id is used
/// twice; the sets of children are not looked at.
struct ModelChange {
    std::vector<Device> devices;
    std::vector<Channel> channels;
    std::vector<DataPoint> dataPoints;
};

/// The devices, their channels, the channels' data points and the values of these.
class ObjectModel {
public:
    /// What all objects together may weigh: bytes of records and texts. Far above what any device needs.
    static constexpr std::size_t MaximumWeight = std::size_t{32} << 20U;

    explicit ObjectModel(std::size_t maximumWeight = MaximumWeight) : maximumWeight_(maximumWeight) {}

    /// Null where there is no object of this kind and id. Good until the next `Apply`.
    const Device* FindDevice(ObjectId id) const;
    const Channel* FindChannel(ObjectId id) const;
    const DataPoint* FindDataPoint(ObjectId id) const;

    const std::map<ObjectId, Device>& GetDevices() const noexcept { return devices_; }

    /// The properties of the object of this id, whatever its kind.
    const Properties* FindProperties(ObjectId id) const;

    /// Returns the devices that were set, or of which something was. Throws `RequestError`, and changes nothing, where
    /// the model would weigh too much.
    std::set<ObjectId> Apply(ModelChange change);

    /// Replaces the properties of an object that is there. Returns the device that it is or belongs to. Throws as
    /// `Apply` does.
    ObjectId SetProperties(ObjectId id, Properties properties);

    /// Stores the value of a data point that is there; the one without content takes its value away. True when the
    /// write is to be reported: the content changed, or the point reports always. Throws as `Apply` does.
    bool SetValue(ObjectId id, Zandrel::ZANVALUE value);

private:
    void ChangeWeight(std::size_t added, std::size_t removed);
    std::size_t WeightOfReplaced(const ModelChange& change) const;
    void RemoveDataPoints(ObjectId channel);

    std::size_t maximumWeight_;
    std::size_t weight_ = 0;
    std::map<ObjectId, Device> devices_;
    std::map<ObjectId, Channel> channels_;
    std::map<ObjectId, DataPoint> dataPoints_;
};

/// Whether two values mean the same to an observer: they are equal, or one is a text and the other one's plain text.
/// A run state that was set up as the text "0" does not change when it gets the integer 0.
bool HaveSameContent(const Zandrel::ZANVALUE& a, const Zandrel::ZANVALUE& b);

}  // namespace LocalDevice
