#include "InterfaceObjects/InterfaceObjects.h"

#include <algorithm>

namespace LocalDevice {

namespace {

struct StoredProperty {
    std::uint16_t objectType;
    std::uint16_t propertyId;
    PropertyDataType dataType;
    int maxElements;
};

constexpr std::array StoredProperties{
    StoredProperty{ObjectType::Device, 11, PropertyDataType::Generic06, 1},          // serial number
    StoredProperty{ObjectType::Device, 78, PropertyDataType::Generic06, 1},          // hardware type
    StoredProperty{ObjectType::IpParameters, 52, PropertyDataType::UnsignedInt, 1},  // individual address
    // Additional individual addresses; here with 32 bits an element.
    StoredProperty{ObjectType::IpParameters, 53, PropertyDataType::UnsignedLong, 255},
    StoredProperty{ObjectType::IpParameters, 76, PropertyDataType::UnsignedChar, 30},  // friendly name
};

}  // namespace

const char* GetObjectName(std::uint16_t objectType) {
    switch (objectType) {
        case ObjectType::Device:
            return "device";
        case ObjectType::AddressTable:
            return "address table";
        case ObjectType::AssociationTable:
            return "association table";
        case ObjectType::ApplicationProgram:
            return "application program";
        case ObjectType::GroupObjectTable:
            return "group object table";
        case ObjectType::IpParameters:
            return "IP parameters";
        case ObjectType::Application:
            return "application";
        default:
            return "unknown object";
    }
}

InterfaceObjects::InterfaceObjects() {
    for (const std::uint16_t type : {ObjectType::Device, ObjectType::IpParameters}) {
        objects_[type] = std::make_unique<InterfaceObject>(type, false);
    }
    for (const std::uint16_t type : LoadableObjects) {
        objects_[type] = std::make_unique<InterfaceObject>(type, true);
    }
    for (const auto& [objectType, propertyId, dataType, maxElements] : StoredProperties) {
        objects_[objectType]->CreateProperty(propertyId, static_cast<int>(dataType), maxElements, 0, 1)->Enable(1);
    }
}

KnxStack::IInterfaceObject* InterfaceObjects::GetInterfaceObject(std::uint16_t objectType, int instance) {
    return instance == 0 || instance == -1 ? Find(objectType) : nullptr;
}

bool InterfaceObjects::UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    bool isReleased = false;
    for (const auto& [type, object] : objects_) {
        isReleased = object->Release(user) || isReleased;
    }
    return isReleased;
}

InterfaceObject* InterfaceObjects::Find(std::uint16_t objectType) {
    const auto found = objects_.find(objectType);
    return found == objects_.end() ? nullptr : found->second.get();
}

bool InterfaceObjects::AreAllLoaded() {
    return std::all_of(LoadableObjects.begin(), LoadableObjects.end(),
                       [this](std::uint16_t type) { return Find(type)->GetLoadState() == LoadState::Loaded; });
}

}  // namespace LocalDevice
