#include "InterfaceObjects/Property.h"

#include <algorithm>
#include <boost/thread/lock_guard.hpp>
#include <limits>
#include <utility>

namespace LocalDevice {

std::optional<std::size_t> GetElementSize(int dataType) {
    if (dataType < 0 || dataType > std::numeric_limits<std::uint8_t>::max()) {
        return std::nullopt;
    }
    switch (static_cast<PropertyDataType>(dataType)) {
        case PropertyDataType::Control:
        case PropertyDataType::Char:
        case PropertyDataType::UnsignedChar:
            return 1;
        case PropertyDataType::UnsignedInt:
            return 2;
        case PropertyDataType::Long:
        case PropertyDataType::UnsignedLong:
            return 4;
        case PropertyDataType::Generic06:
            return 6;
    }
    return std::nullopt;
}

Property::Property(const PropertyDescription& description, EnableHandler onEnabled)
    : description_(description), onEnabled_(std::move(onEnabled)) {}

bool Property::GetElementCount(std::uint32_t& count) const {
    count = static_cast<std::uint32_t>(GetContent().size() / description_.elementSize);
    return true;
}

bool Property::ReadElements(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const {
    const bool isRead = Read(start, count, data);
    ++reads_;
    return isRead;
}

bool Property::Read(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const {
    auto content = GetContent();
    // 64 bits: no start and count can wrap around.
    const std::uint64_t begin = std::uint64_t{start} * description_.elementSize;
    const std::uint64_t end = begin + std::uint64_t{count} * description_.elementSize;
    if (end > content.size()) {
        return false;
    }
    content.resize(static_cast<std::size_t>(end));
    content.erase(content.begin(), std::next(content.begin(), static_cast<std::ptrdiff_t>(begin)));
    data = KnxStack::BinaryData(std::move(content));
    return true;
}

void Property::Enable(int enabled) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        isEnabled_ = enabled != 0;
    }
    if (enabled != 0 && onEnabled_) {
        onEnabled_();
    }
}

bool Property::IsVisible() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return isEnabled_ && description_.readEnable;
}

bool Property::SetContent(std::vector<std::uint8_t> content) {
    if (content.size() % description_.elementSize != 0 ||
        content.size() / description_.elementSize > description_.maxElements) {
        return false;
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    content_ = std::move(content);
    return true;
}

std::vector<std::uint8_t> Property::ReadFromBus(std::uint16_t start, std::uint16_t count) const {
    if (!IsVisible()) {
        return {};
    }
    if (start == 0) {
        std::uint32_t elements = 0;
        GetElementCount(elements);
        KnxStack::BinaryData data;
        data.AppendUInt16Value(static_cast<std::uint16_t>(elements));
        return count == 1 ? data.GetBytes() : std::vector<std::uint8_t>{};
    }
    KnxStack::BinaryData data;
    return Read(start - 1U, count, data) ? data.GetBytes() : std::vector<std::uint8_t>{};
}

bool Property::WriteToUser(const std::vector<std::uint8_t>& data) {
    const KnxStack::BinaryData bytes(data);
    return user_
        .Call([&](KnxStack::IInterfaceObjectSimplePropertyUser& user) {
            return user.OnPropertyWrite(description_.objectType, description_.propertyId, bytes);
        })
        .value_or(false);
}

std::vector<std::uint8_t> Property::GetContent() const {
    KnxStack::BinaryData data;
    const bool isServed = user_
                              .Call([&](KnxStack::IInterfaceObjectSimplePropertyUser& user) {
                                  return user.OnPropertyRead(description_.objectType, description_.propertyId, data);
                              })
                              .value_or(false);
    if (isServed) {
        return data.GetBytes();
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return content_;
}

}  // namespace LocalDevice
