#include "PropertyReading.h"

#include "KnxStack/IPropertyService.h"

namespace Zandrel {

using KnxStack::BinaryData;

KnxStack::IProperty* FindProperty(KnxStack::IInterfaceObject* object, std::uint16_t propertyId) {
    return object == nullptr ? nullptr : object->GetProperty(propertyId);
}

std::optional<BinaryData> ReadElement(const KnxStack::IProperty* property, std::uint32_t index, std::size_t size) {
    BinaryData data;
    if (property == nullptr || !property->ReadElements(index, 1, data) || data.GetSize() < size) {
        return std::nullopt;
    }
    return data;
}

std::optional<std::uint8_t> ReadUInt8(const KnxStack::IProperty* property, std::uint32_t index) {
    const auto data = ReadElement(property, index, sizeof(std::uint8_t));
    return data ? std::optional(data->GetUInt8Value(0)) : std::nullopt;
}

std::optional<std::uint16_t> ReadUInt16(const KnxStack::IProperty* property, std::uint32_t index) {
    const auto data = ReadElement(property, index, sizeof(std::uint16_t));
    return data ? std::optional(data->GetUInt16Value(0)) : std::nullopt;
}

std::optional<std::uint32_t> ReadUInt32(const KnxStack::IProperty* property, std::uint32_t index) {
    const auto data = ReadElement(property, index, sizeof(std::uint32_t));
    return data ? std::optional(data->GetUInt32Value(0)) : std::nullopt;
}

std::optional<std::string> ReadText(const KnxStack::IProperty* property, std::uint32_t count) {
    BinaryData data;
    if (property == nullptr || !property->ReadElements(0, count, data)) {
        return std::nullopt;
    }
    return data.GetStringValue(0);
}

}  // namespace Zandrel
