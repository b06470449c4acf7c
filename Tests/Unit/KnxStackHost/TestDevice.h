#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DeviceDescription.h"

/// Device descriptions built by hand.
namespace TestDevice {

constexpr std::uint32_t Dpt(unsigned mainNumber, unsigned subNumber) {
    return mainNumber << 16U | subNumber;
}

constexpr std::uint16_t GroupAddress(unsigned mainGroup, unsigned middleGroup, unsigned subGroup) {
    return static_cast<std::uint16_t>(mainGroup << 11U | middleGroup << 8U | subGroup);
}

/// Flags from their letters, such as "CRT".
inline LocalDevice::GroupObjectFlags Flags(const std::string& letters) {
    const auto has = [&letters](char letter) { return letters.find(letter) != std::string::npos; };
    return {has('C'), has('R'), has('W'), has('T'), has('U'), has('I')};
}

inline LocalDevice::CommunicationObject Object(std::uint16_t number, std::uint32_t dpt, const std::string& flags,
                                               std::vector<std::uint16_t> groupAddresses) {
    return {number, "Object " + std::to_string(number), dpt, Flags(flags), std::move(groupAddresses)};
}

inline LocalDevice::DeviceDescription Make(std::vector<LocalDevice::CommunicationObject> objects = {}) {
    LocalDevice::DeviceDescription device;
    device.name = "Test device";
    device.serialNumber = {0x00, 0x0A, 0x14, 0xFF, 0x01, 0x02};
    device.hardwareType = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    device.friendlyName = "Thirty characters fill it all!";
    device.individualAddress = 0x110A;
    device.additionalIndividualAddresses = {0x110B, 0x110C};
    device.appId = "TestApp";
    device.appType = 1;
    device.displayTextSpeed = 2;
    device.displayTextWrapping = 1;
    device.ipParameters = {{1, 0xC0A8010A}, {3, 0x0A000001}};
    device.numberParameters = {{2, 42}};
    device.textParameters = {{1, "first"}, {50, "last"}};
    for (auto& object : objects) {
        const auto number = object.number;
        device.communicationObjects.emplace(number, std::move(object));
    }
    return device;
}

}  // namespace TestDevice
