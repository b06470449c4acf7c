#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>

#include "InterfaceObjects/InterfaceObject.h"
#include "KnxStack/IPropertyService.h"

namespace LocalDevice {

/// The types of the device's interface objects.
namespace ObjectType {
constexpr std::uint16_t Device = 0;
constexpr std::uint16_t AddressTable = 1;
constexpr std::uint16_t AssociationTable = 2;
constexpr std::uint16_t ApplicationProgram = 3;
constexpr std::uint16_t GroupObjectTable = 9;
constexpr std::uint16_t IpParameters = 11;
constexpr std::uint16_t Application = 40960;
}  // namespace ObjectType

/// The objects that have a load state, in the order in which a download walks them.
constexpr std::array<std::uint16_t, 5> LoadableObjects{ObjectType::AddressTable, ObjectType::AssociationTable,
                                                       ObjectType::ApplicationProgram, ObjectType::GroupObjectTable,
                                                       ObjectType::Application};

/// "address table", "application" and so on; "unknown object" for another type.
const char* GetObjectName(std::uint16_t objectType);

/// The device's interface objects, one of each type. Thread-safe; users are called without a lock.
class InterfaceObjects final : public KnxStack::IPropertyService {
public:
    InterfaceObjects();

    KnxStack::IInterfaceObject* GetInterfaceObject(std::uint16_t objectType, int instance) override;
    bool UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) override;

    /// The object, or null when there is none of this type.
    InterfaceObject* Find(std::uint16_t objectType);

    /// Whether all of `LoadableObjects` are loaded.
    bool AreAllLoaded();

private:
    std::map<std::uint16_t, std::unique_ptr<InterfaceObject>> objects_;  ///< constant after construction
};

}  // namespace LocalDevice
