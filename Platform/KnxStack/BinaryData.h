#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KnxStack {

/// Bytes of a property or of a memory object, read as the big-endian numbers of the KNX standard.
///
/// A plain value: copyable, movable, no sharing. The readers throw `std::out_of_range` when the wanted bytes do not lie
/// wholly inside the data; none of them reads outside.
class BinaryData {
public:
    BinaryData() = default;
    explicit BinaryData(std::vector<std::uint8_t> bytes);

    const std::vector<std::uint8_t>& GetBytes() const noexcept { return bytes_; }
    std::size_t GetSize() const noexcept { return bytes_.size(); }

    std::uint8_t GetUInt8Value(std::size_t offset) const;
    std::uint16_t GetUInt16Value(std::size_t offset) const;
    std::uint32_t GetUInt32Value(std::size_t offset) const;

    /// The bytes from `offset` to the first zero byte, or to the end of the data where there is none. An `offset` equal
    /// to the size gives the empty string.
    std::string GetStringValue(std::size_t offset) const;

    void AppendUInt8Value(std::uint8_t value);
    void AppendUInt16Value(std::uint16_t value);
    void AppendUInt32Value(std::uint32_t value);

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace KnxStack
