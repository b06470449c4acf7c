#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KnxStack {

/// The value of a group object as it travels on the bus, without its APCI.
///
/// Values of up to 6 bits are one byte here, with the unused upper bits clear; longer ones are their bytes in bus
/// order. How many bits a value has on the wire is a matter of the group object, not of the value. A plain value:
/// copyable, movable, no sharing.
class GroupValue {
public:
    GroupValue() = default;
    explicit GroupValue(std::vector<std::uint8_t> bytes) noexcept : bytes_(std::move(bytes)) {}

    const std::vector<std::uint8_t>& GetBytes() const noexcept { return bytes_; }
    std::size_t GetSize() const noexcept { return bytes_.size(); }

    /// The four bytes as an IEEE 754 single (big endian), the encoding of data-point main type 14.
    /// Throws `std::out_of_range` when the value is not 4 bytes long.
    float GetFloatValue() const;

    friend bool operator==(const GroupValue& a, const GroupValue& b) noexcept { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const GroupValue& a, const GroupValue& b) noexcept { return !(a == b); }

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace KnxStack
