#include "DeviceModel.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

#include "Zandrel/EncodedString.h"

namespace LocalDevice {

namespace {

using nlohmann::json;
using Zandrel::ZANVALUE;
using Zandrel::KnxOdsMapping::ObjectName;

/// The serialised value of a data point. Bytes that are no UTF-8 travel as the characters of Latin-1.
std::optional<ZANVALUE> ReadValue(const json& dataPoint) {
    if (!dataPoint.contains("value")) {
        return std::nullopt;
    }
    auto text = dataPoint.at("value").get<std::string>();
    if (dataPoint.value("encoding", "") == "latin-1") {
        if (const auto bytes = Zandrel::getLatin1FromUTF8Lossy(Zandrel::UTF8String(text))) {
            text = bytes->GetBytes();
        }
    }
    return ZANVALUE::Deserialize(text);
}

void Add(DeviceModel& model, const ObjectName& name, const json& dataPoint) {
    auto value = ReadValue(dataPoint);
    if (name.kind == ObjectName::Kind::CoValue) {
        model.cos[name.number] = {dataPoint.value("eventAlways", "0") == "1", std::move(value)};
    } else if (name.kind == ObjectName::Kind::ParameterValue && value) {
        model.parameters.at(static_cast<std::size_t>(name.parameterType)).at(name.number - 1U) = value->ToString();
    }
}

/// None where the id is not one of this device's.
std::optional<ObjectName> ReadName(const json& dataPoint) {
    const auto id = dataPoint.at("id").get<std::uint64_t>();
    return id <= std::numeric_limits<std::uint32_t>::max()
               ? Zandrel::KnxOdsMapping::GetObjectName(static_cast<unsigned long>(id))
               : std::nullopt;
}

}  // namespace

DeviceModel ReadDeviceModel(const std::string& answer, int logicalDevice) {
    try {
        DeviceModel model;
        const json document = json::parse(answer);
        for (const json& device : document.at("response").at("devices")) {
            for (const json& channel : device.at("channels")) {
                for (const json& dataPoint : channel.at("datapoints")) {
                    const auto name = ReadName(dataPoint);
                    if (name && name->logicalDevice == logicalDevice) {
                        Add(model, *name, dataPoint);
                    }
                }
            }
        }
        return model;
    } catch (const std::exception& error) {  // of the JSON reader or of a value
        throw DeviceModelError(std::string("the device stack's object model is not understood: ") + error.what());
    }
}

}  // namespace LocalDevice
