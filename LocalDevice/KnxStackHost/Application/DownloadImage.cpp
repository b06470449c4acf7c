#include "Application/DownloadImage.h"

#include <algorithm>

#include "GroupObjects/GroupObjectTable.h"
#include "InterfaceObjects/ApplicationMemory.h"
#include "KnxStack/BinaryData.h"

namespace LocalDevice {

namespace {

// Properties of the application's own object.
constexpr std::uint16_t GroupObjectTypes = 64;
constexpr std::uint16_t GroupObjectCommunication = 66;
constexpr std::uint16_t IpParameters = 68;
constexpr std::uint16_t NumberParameters = 69;
constexpr std::uint16_t ApplicationSettings = 71;
constexpr std::uint16_t ApplicationId = 72;
// Properties of the device object.
constexpr std::uint16_t SerialNumber = 11;
constexpr std::uint16_t HardwareType = 78;
// Properties of the IP parameter object.
constexpr std::uint16_t IndividualAddress = 52;
constexpr std::uint16_t AdditionalIndividualAddresses = 53;
constexpr std::uint16_t FriendlyName = 76;

constexpr std::size_t TextParameterBlock = 128;

std::vector<std::uint8_t> ToBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// One element a slot, up to the highest slot that is set.
std::vector<std::uint8_t> MakeParameters(const std::map<std::uint16_t, std::uint32_t>& parameters) {
    KnxStack::BinaryData data;
    std::uint16_t next = 1;
    for (const auto& [slot, value] : parameters) {
        for (; next < slot; ++next) {
            data.AppendUInt32Value(0);
        }
        data.AppendUInt32Value(value);
        next = static_cast<std::uint16_t>(slot + 1);
    }
    return data.GetBytes();
}

}  // namespace

PropertyContents MakeApplicationProperties(const DeviceDescription& description) {
    KnxStack::BinaryData types;
    KnxStack::BinaryData communication;
    for (std::uint16_t number = 1; number <= GroupObjectTable::MaxNumber; ++number) {
        const auto found = description.communicationObjects.find(number);
        const bool isThere = found != description.communicationObjects.end();
        types.AppendUInt32Value(isThere ? found->second.dpt : 0);
        communication.AppendUInt32Value(isThere && found->second.flags.communication ? 1 : 0);
    }
    return {
        {GroupObjectTypes, types.GetBytes()},
        {GroupObjectCommunication, communication.GetBytes()},
        {IpParameters, MakeParameters(description.ipParameters)},
        {NumberParameters, MakeParameters(description.numberParameters)},
        {ApplicationSettings, {description.displayTextSpeed, description.displayTextWrapping, description.appType}},
        {ApplicationId, ToBytes(description.appId)},
    };
}

PropertyContents MakeIpParameterProperties(const DeviceDescription& description) {
    KnxStack::BinaryData address;
    address.AppendUInt16Value(description.individualAddress);
    KnxStack::BinaryData additional;
    for (const std::uint16_t additionalAddress : description.additionalIndividualAddresses) {
        additional.AppendUInt32Value(additionalAddress);
    }
    return {
        {IndividualAddress, address.GetBytes()},
        {AdditionalIndividualAddresses, additional.GetBytes()},
        {FriendlyName, ToBytes(description.friendlyName)},
    };
}

PropertyContents MakeDeviceProperties(const DeviceDescription& description) {
    return {
        {SerialNumber, {description.serialNumber.begin(), description.serialNumber.end()}},
        {HardwareType, {description.hardwareType.begin(), description.hardwareType.end()}},
    };
}

std::vector<std::uint8_t> MakeApplicationMemory(const DeviceDescription& description) {
    std::vector<std::uint8_t> memory(ApplicationMemory::Size, 0);
    for (const auto& [slot, text] : description.textParameters) {
        const std::size_t begin = (slot - std::size_t{1}) * TextParameterBlock;
        if (slot == 0 || begin + TextParameterBlock > memory.size()) {
            continue;
        }
        const std::size_t length = std::min(text.size(), TextParameterBlock - 1);
        std::copy_n(text.begin(), length, std::next(memory.begin(), static_cast<std::ptrdiff_t>(begin)));
    }
    return memory;
}

}  // namespace LocalDevice
