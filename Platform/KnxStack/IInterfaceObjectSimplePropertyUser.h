#pragma once

#include <cstdint>

#include "KnxStack/BinaryData.h"

namespace KnxStack {

/// Serves properties of interface objects in the stack's place; implemented by a plug-in.
///
/// The stack calls from threads of its own, or from the thread that reads the property through
/// `IProperty::ReadElements`, without holding a lock; several calls may run at once. No call throws.
class IInterfaceObjectSimplePropertyUser {
public:
    virtual ~IInterfaceObjectSimplePropertyUser() = default;

    /// Somebody reads the property: puts its value into `data` and returns true. False leaves it to the stack.
    virtual bool OnPropertyRead(std::uint16_t objectType, std::uint16_t propertyId, BinaryData& data) = 0;

    /// Somebody writes `data` to the property. True when the write is accepted; false leaves it to the stack.
    virtual bool OnPropertyWrite(std::uint16_t objectType, std::uint16_t propertyId, const BinaryData& data) = 0;
};

}  // namespace KnxStack
