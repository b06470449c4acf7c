#pragma once

#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <vector>

#include "ObjectModel.h"
#include "Place.h"

namespace LocalDevice {

class JsonFields;

/// Reads a configuration document against the object model that it is to change:
///
/// - A device of "devices" is merged: fields that are given replace, the others stay, and so do channels that it does
///   not name. A channel that it names is replaced together with its data points.
/// - A channel of the top-level "channels" is replaced where it is, a data point of the top-level "datapoints" is
///   merged where it is. Either has to be there.
class ConfigurationReader {
public:
    /// What the document asks for. Does not change the model. Throws `RequestError` that names the first place, below
    /// `place`, at which the document is wrong.
    static ModelChange Read(const ObjectModel& model, const nlohmann::json& document, const Place& place);

private:
    enum class Kind { Device, Channel, DataPoint };

    /// An id of a data point that is free only when the data point's channel is replaced.
    struct Claim {
        ObjectId channel;
        std::string refusal;
    };

    explicit ConfigurationReader(const ObjectModel& model) : model_(model) {}

    void ReadDevice(const nlohmann::json& json, const Place& place);
    void ReadChannel(const JsonFields& fields, ObjectId id, ObjectId device);
    void ReadKnownChannel(const nlohmann::json& json, const Place& place);
    void ReadKnownDataPoint(const nlohmann::json& json, const Place& place);

    /// The id of an object that may be new. `parent`: where it belongs; 0 for a device.
    ObjectId ReadId(const JsonFields& fields, Kind kind, ObjectId parent);
    ObjectId ReadIdOnce(const JsonFields& fields);
    void CheckClaims() const;

    const ObjectModel& model_;
    std::set<ObjectId> givenIds_;
    std::set<ObjectId> replacedChannels_;
    std::vector<Claim> claims_;
    ModelChange change_;
};

/// Puts those of the members "name", "enabled" and "visible" that are there into `properties`.
void MergeProperties(const JsonFields& fields, Properties& properties);

}  // namespace LocalDevice
