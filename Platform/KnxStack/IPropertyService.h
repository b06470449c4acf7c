#pragma once

#include <cstdint>

#include "KnxStack/BinaryData.h"

namespace KnxStack {

class IInterfaceObjectSimplePropertyUser;

/// One property of an interface object: an array of elements of one type. Owned by the stack, callable from any thread.
class IProperty {
public:
    /// Puts the number of elements into `count`. False when the stack cannot tell.
    virtual bool GetElementCount(std::uint32_t& count) const = 0;

    /// Reads `count` elements from element `start` on, counted from 0 (on the bus elements count from 1), into `data`,
    /// one after the other, big endian. False, with `data` unspecified, when one of them does not exist.
    ///
    /// A property with a user is read from that user, on the calling thread.
    virtual bool ReadElements(std::uint32_t start, std::uint32_t count, BinaryData& data) const = 0;

    /// 1 makes the property visible to the bus, 0 hides it. Enabling the load state control of an object lets the stack
    /// replay the load events of an object that is already loaded, on the calling thread.
    virtual void Enable(int enabled) = 0;

protected:
    ~IProperty() = default;
};

/// One interface object. Owned by the stack, callable from any thread.
class IInterfaceObject {
public:
    /// The property, or null when the object has none of this id.
    virtual IProperty* GetProperty(std::uint16_t propertyId) = 0;

    /// Makes `user` the source and the sink of a property. It stays so until `IPropertyService::UnregisterUser`. Null
    /// when the property cannot be created.
    virtual IProperty* CreateUserProperty(std::uint16_t propertyId, IInterfaceObjectSimplePropertyUser& user) = 0;

    /// Creates a property that the stack stores itself, or returns the one that is there. The values are those of the
    /// KNX property description: data type (1 character, 2 unsigned 8 bits, 8 signed 32 bits, 9 unsigned 32 bits), the
    /// largest number of elements, and two flags that the stack keeps with the property (write enable, read enable).
    /// Null when the property cannot be created.
    virtual IProperty* CreateProperty(std::uint16_t propertyId, int dataType, int maxElements, int writeEnable,
                                      int readEnable) = 0;

protected:
    ~IInterfaceObject() = default;
};

/// The interface objects of the device. Callable from any thread.
class IPropertyService {
public:
    /// The interface object of `objectType` (0 device, 1 address table, 2 association table, 3 application program,
    /// 9 group object table, 11 IP parameters, 40960 the application's own), or null. `instance` counts the objects of
    /// one type from 0; -1 takes the first.
    virtual IInterfaceObject* GetInterfaceObject(std::uint16_t objectType, int instance) = 0;

    /// Takes `user` off every property it serves. On return no call to it is running, and none follows. Not to be
    /// called from within such a call. False when `user` served nothing.
    virtual bool UnregisterUser(IInterfaceObjectSimplePropertyUser& user) = 0;

protected:
    ~IPropertyService() = default;
};

}  // namespace KnxStack
