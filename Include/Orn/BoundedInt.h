#pragma once

#include <optional>

namespace Zandrel {

/// An integer between `Min` and `Max`, both included. `Tag` keeps integers of different meaning apart.
template <typename Int, Int Min, Int Max, typename Tag>
class BoundedInt {
public:
    /// None when `value` is out of range.
    static constexpr std::optional<BoundedInt> From(Int value) noexcept {
        if (value < Min || value > Max) {
            return std::nullopt;
        }
        return BoundedInt(value);
    }

    constexpr Int Value() const noexcept { return value_; }

    friend constexpr bool operator==(BoundedInt a, BoundedInt b) noexcept { return a.value_ == b.value_; }
    friend constexpr bool operator!=(BoundedInt a, BoundedInt b) noexcept { return !(a == b); }

private:
    explicit constexpr BoundedInt(Int value) noexcept : value_(value) {}

    Int value_;
};

/// Which of the two logical KNX devices of one device an application program is.
using LogicalDeviceId = BoundedInt<int, 1, 2, struct LogicalDeviceIdTag>;

}  // namespace Zandrel
