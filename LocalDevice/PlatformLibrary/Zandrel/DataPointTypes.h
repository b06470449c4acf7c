#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Zandrel/ZanValue.h"

namespace Zandrel {

/// One row of the table of data-point types (KNX standard 03/07/02): how its values travel on the bus and what they are
/// in the device stack.
struct DataPointType {
    using Bytes = std::vector<std::uint8_t>;
    using Decode = std::optional<ZANVALUE> (*)(const Bytes&);
    using Encode = std::optional<Bytes> (*)(const ZANVALUE&);

    /// The sub number of the row that describes all sub types without a row of their own.
    static constexpr int AnySub = -1;
    /// The size of values that have no fixed one.
    static constexpr std::size_t VariableSize = 0;

    std::uint32_t mainNumber;
    int subNumber;
    std::size_t size;       ///< in bytes, or `VariableSize`
    ZANVALUE::Type type;    ///< as which the values of the main type are declared,
    std::uint16_t subtype;  ///< the same in all its rows
    const char* initial;    ///< the content of a value that nobody wrote
    Decode decode;          ///< takes `size` bytes, or any number; none where they stand for no value
    Encode encode;          ///< gives `size` bytes, or any number; none where the value cannot be expressed
};

/// The row for a data-point type (main number in the upper 16 bits, sub number in the lower 16 bits); null for an
/// unknown main type.
const DataPointType* FindDataPointType(std::uint32_t dpt);

}  // namespace Zandrel
