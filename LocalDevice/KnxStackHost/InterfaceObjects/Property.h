#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "KnxStack/IInterfaceObjectSimplePropertyUser.h"
#include "KnxStack/IPropertyService.h"
#include "Support/UserSlot.h"

namespace LocalDevice {

/// The data types of the KNX property description that occur here.
enum class PropertyDataType : std::uint8_t {
    Control = 0,
    Char = 1,
    UnsignedChar = 2,
    UnsignedInt = 4,
    Long = 8,
    UnsignedLong = 9,
    Generic06 = 22,
};

/// Bytes of one element. None for a data type that is not known here.
std::optional<std::size_t> GetElementSize(int dataType);

/// What a property is, as its description gives it.
struct PropertyDescription {
    std::uint16_t objectType = 0;
    std::uint16_t propertyId = 0;
    std::size_t elementSize = 1;
    std::size_t maxElements = 1;
    bool writeEnable = false;
    bool readEnable = true;
};

/// One property: elements that the stack stores, or a user who serves it. Thread-safe; users are called without a lock.
class Property final : public KnxStack::IProperty {
public:
    /// Called on the thread that enables the property.
    using EnableHandler = std::function<void()>;

    explicit Property(const PropertyDescription& description, EnableHandler onEnabled = {});

    bool GetElementCount(std::uint32_t& count) const override;
    bool ReadElements(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const override;
    void Enable(int enabled) override;

    const PropertyDescription& GetDescription() const { return description_; }

    /// How often the application program has read elements.
    std::uint64_t GetReadCount() const { return reads_; }

    /// Replaces all elements. False, with nothing changed, when `content` is no whole number of elements or too long.
    bool SetContent(std::vector<std::uint8_t> content);

    /// What the property read service of the bus gives: elements count from 1 there, index 0 is the number of elements
    /// (16 bits). Nothing where an element does not exist and for a property that is hidden or not readable.
    std::vector<std::uint8_t> ReadFromBus(std::uint16_t start, std::uint16_t count) const;

    /// `user` reads and writes the property from now on.
    void Serve(KnxStack::IInterfaceObjectSimplePropertyUser& user) { user_.Set(user); }
    /// False when `user` does not serve the property. On return no call to it is running.
    bool Release(const KnxStack::IInterfaceObjectSimplePropertyUser& user) { return user_.Clear(user); }
    /// Hands `data` to the user. True when it accepted; false without a user.
    bool WriteToUser(const std::vector<std::uint8_t>& data);

private:
    bool Read(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const;
    std::vector<std::uint8_t> GetContent() const;
    bool IsVisible() const;

    const PropertyDescription description_;
    const EnableHandler onEnabled_;

    mutable std::atomic<std::uint64_t> reads_{0};
    mutable UserSlot<KnxStack::IInterfaceObjectSimplePropertyUser> user_;

    mutable boost::mutex mutex_;
    std::vector<std::uint8_t> content_;
    bool isEnabled_ = false;
};

}  // namespace LocalDevice
