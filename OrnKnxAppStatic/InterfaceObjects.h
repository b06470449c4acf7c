#pragma once

#include <cstdint>

/// The interface objects and properties of the KNX stack that the plug-in uses.
namespace Zandrel {

namespace ObjectType {
constexpr std::uint16_t Device = 0;
constexpr std::uint16_t AddressTable = 1;
constexpr std::uint16_t AssociationTable = 2;
constexpr std::uint16_t ApplicationProgram = 3;
constexpr std::uint16_t GroupObjectTable = 9;
constexpr std::uint16_t IpParameters = 11;
constexpr std::uint16_t OwnApplication = 40960;
}  // namespace ObjectType

/// Which of several objects of one type.
namespace ObjectInstance {
constexpr int Any = -1;
constexpr int First = 0;
}  // namespace ObjectInstance

namespace PropertyId {
constexpr std::uint16_t LoadStateControl = 5;

// of the device object
constexpr std::uint16_t SerialNumber = 11;
constexpr std::uint16_t HardwareType = 78;

// of the IP parameter object
constexpr std::uint16_t IndividualAddress = 52;
constexpr std::uint16_t AdditionalIndividualAddresses = 53;
constexpr std::uint16_t FriendlyName = 76;

// of the application's own object
constexpr std::uint16_t Dpts = 64;
constexpr std::uint16_t CommunicationFlags = 66;
constexpr std::uint16_t IpParameters = 68;
constexpr std::uint16_t NumberParameters = 69;
constexpr std::uint16_t DisplaySettingsAndAppType = 71;
constexpr std::uint16_t AppId = 72;
}  // namespace PropertyId

}  // namespace Zandrel
