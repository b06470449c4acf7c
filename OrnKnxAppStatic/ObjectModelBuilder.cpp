#include "ObjectModelBuilder.h"

#include <utility>
#include <vector>

#include "Zandrel/KnxOdsMapping.h"

namespace Zandrel {

namespace {

/// The addresses, joined with ", ", as UTF-8.
std::string JoinAddresses(const std::vector<KnxStyleString>& addresses) {
    std::string joined;
    for (const KnxStyleString& address : addresses) {
        joined.append(&address == &addresses.front() ? "" : ", ").append(address.GetBytes());
    }
    return getUTF8FromLatin1(KnxStyleString(std::move(joined))).GetBytes();
}

/// The value of a CO: it starts with the default of its data-point type, or without content where there is none.
DataPoint CoValue(unsigned long id, const CoChannelAttr& co) {
    DataPoint value;
    value.id = id;
    value.enabled = true;
    value.visible = true;
    value.defaultValue = KnxOdsMapping::GetDefaultValueFromDpt(co.dpt, true);
    if (value.defaultValue) {
        const unsigned long mainType = co.dpt >> 16U;
        value.valueType = KnxOdsMapping::GetIvtFromMainType(mainType);
        value.valueSubtype = KnxOdsMapping::GetIstFromMainType(mainType);
        value.defaultValueInit = "Value";
    } else {
        value.value = NoContent;
        value.defaultValueInit = "None";
    }
    value.eventAlways = co.mayBeWritten;
    value.changedOnly = !co.mayBeWritten;
    return value;
}

}  // namespace

bool ConfigureDevices(Configuration& configuration, LogicalDeviceId logicalDevice, const std::string& appId,
                      const IKnxConfigurationSource& knx) {
    Device& knxDevice = AddDevice(configuration, KnxOdsMapping::GetKnxDeviceObjModelId());
    knxDevice.name = "Logical KNX Device " + std::to_string(logicalDevice.Value());
    knxDevice.metadata.emplace_back("KIM-FriendlyName", knx.GetFriendlyName());

    const unsigned long deviceId = KnxOdsMapping::GetLogicalKnxDeviceObjModelId(logicalDevice.Value());
    Device& device = AddDevice(configuration, deviceId);
    device.name = appId;
    device.enabled = true;
    device.visible = true;
    device.metadata.emplace_back("KIM-IA", knx.GetIndividualAddress());
    device.metadata.emplace_back("KIM-AIAs", JoinAddresses(knx.GetAdditionalIndividualAddresses()));
    AddChannel(device, KnxOdsMapping::GetOdsKnxDeviceChannelObjModelId(logicalDevice.Value()));

    return ConfigureAppControlChannel(configuration, deviceId, logicalDevice);
}

bool ConfigureAppControlChannel(Configuration& configuration, unsigned long deviceId, LogicalDeviceId logicalDevice) {
    const int number = logicalDevice.Value();
    Device& device = AddDevice(configuration, deviceId);
    DataPoints& datapoints =
        AddChannel(device, KnxOdsMapping::GetAppHostAppControlChannelObjModelId(number)).datapoints;
    // An event and a heartbeat count each time they come, also with the value of the one before. Only the run state has
    // a value of its own at the start: stopped.
    return AddDataPoint(datapoints, KnxOdsMapping::GetAppHostAppControlStateObjModelId(number), "0", false) &&
           AddDataPoint(datapoints, KnxOdsMapping::GetAppHostAppControlEventObjModelId(number), std::nullopt, true) &&
           AddDataPoint(datapoints, KnxOdsMapping::GetAppHostAppControlAliveObjModelId(number), std::nullopt, true) &&
           AddDataPoint(datapoints, KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId(number), std::nullopt, false);
}

bool ConfigureObjModelCo(Device& device, const CoChannelAttr& co, std::optional<LogicalDeviceId> logicalDevice,
                         const PrefixedLogger& log) {
    if (!logicalDevice) {
        ORN_LOG(log, ERROR, "No valid logical device Id.");
        return false;
    }
    const std::optional<unsigned long> channelId =
        KnxOdsMapping::GetCoChannelObjModelId(co.number, logicalDevice->Value());
    if (!channelId) {
        ORN_LOG(log, ERROR,
                "Could not determine channel id for CO " << co.number << ", logical device " << logicalDevice->Value());
        return false;
    }
    Channel& channel = AddChannel(device, *channelId);
    channel.name = co.name;
    channel.enabled = co.valid;
    channel.visible = co.valid;
    if (!co.valid) {
        ORN_LOG(log, DEBUG, "CO Channel " << co.number << " is inactive");
        return true;
    }
    const std::optional<unsigned long> valueId = KnxOdsMapping::GetCoValueObjModelId(*channelId);
    if (!valueId) {
        ORN_LOG(log, ERROR, "Failed to get datapoint id of value dp. Channel: " << *channelId);
        return false;
    }
    DataPoint& value = InsertDataPoint(channel.datapoints, CoValue(*valueId, co));
    value.metadata.emplace_back("KIM-DPT", std::to_string(co.dpt));
    value.metadata.emplace_back("KIM-IsActive", co.communicationFlag ? "1" : "0");
    value.internal = true;
    return true;
}

bool ConfigureObjModelParam(Device& device, const ParamAttr& parameter, const PrefixedLogger& log) {
    Channel& channel = AddChannel(device, parameter.channelId);
    channel.enabled = parameter.active;
    channel.visible = parameter.active;
    if (!parameter.active) {
        return true;
    }
    const std::optional<unsigned long> valueId = KnxOdsMapping::GetParameterValueObjModelId(parameter.channelId);
    if (!valueId) {
        ORN_LOG(log, ERROR, "Failed to get datapoint id of parameter value dp. Channel: " << parameter.channelId);
        return false;
    }
    return AddDataPoint(channel.datapoints, *valueId,
                        parameter.value.empty() ? std::nullopt : std::optional(parameter.value), false);
}

}  // namespace Zandrel
