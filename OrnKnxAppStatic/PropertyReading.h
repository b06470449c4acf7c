#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KnxStack/BinaryData.h"

namespace KnxStack {
class IInterfaceObject;
class IProperty;
}  // namespace KnxStack

/// Reads of the stack's properties. None when there is no property (null), when the stack fails to read it, and when it
/// delivers fewer bytes than the value has.
namespace Zandrel {

/// The property of `object`, or null; null for no object.
KnxStack::IProperty* FindProperty(KnxStack::IInterfaceObject* object, std::uint16_t propertyId);

/// One element, of `size` bytes at least.
std::optional<KnxStack::BinaryData> ReadElement(const KnxStack::IProperty* property, std::uint32_t index,
                                                std::size_t size);

std::optional<std::uint8_t> ReadUInt8(const KnxStack::IProperty* property, std::uint32_t index);
std::optional<std::uint16_t> ReadUInt16(const KnxStack::IProperty* property, std::uint32_t index);
std::optional<std::uint32_t> ReadUInt32(const KnxStack::IProperty* property, std::uint32_t index);

/// The first `count` elements, as text up to the first zero byte.
std::optional<std::string> ReadText(const KnxStack::IProperty* property, std::uint32_t count);

}  // namespace Zandrel
