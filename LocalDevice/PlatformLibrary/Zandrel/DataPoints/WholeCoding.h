#pragma once

#include <limits>

#include "BigEndian.h"

namespace Zandrel {

/// Which codes of a type are values.
template <typename Number>
constexpr bool IsAnyCode(Number /*code*/) {
    return true;
}

/// The codes up to `Last`.
template <typename Number, Number Last>
constexpr bool IsCodeUpTo(Number code) {
    return code <= Last;
}

/// The codes that have no bit outside `Defined`.
template <typename Number, Number Defined>
constexpr bool IsCodeWithin(Number code) {
    return (code & ~unsigned{Defined}) == 0;
}

/// A whole number, the code itself, where `IsCode`. A fraction is no value of the type: what an application wants to
/// lose it has to round itself.
template <typename Number, bool (*IsCode)(Number) = &IsAnyCode<Number>>
struct WholeCoding {
    static constexpr std::size_t Size = sizeof(Number);

    static std::optional<ZANVALUE> Decode(const DataPointType::Bytes& bytes) {
        const auto code = LoadBigEndian<Number>(bytes);
        return IsCode(code) ? std::optional(ZANVALUE::FromInteger(code)) : std::nullopt;
    }
    static std::optional<DataPointType::Bytes> Encode(const ZANVALUE& value) {
        using Limits = std::numeric_limits<Number>;
        const auto integer = value.GetInteger();
        if (!integer || *integer < Limits::min() || *integer > Limits::max() ||
            !IsCode(static_cast<Number>(*integer))) {
            return std::nullopt;
        }
        return StoreBigEndian(static_cast<Number>(*integer));
    }
};

}  // namespace Zandrel
