#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace Zandrel {

/// Text of the device stack, UTF-8 by convention; any bytes are kept as they are.
using zan_string = std::string;

/// A value of a device-stack data point: a type, a subtype and a content. A plain value.
class ZANVALUE {
public:
    /// The types and their numbers in the serialised form.
    enum class Type : std::uint16_t {
        None = 1,     ///< no content
        Boolean = 2,  ///< "0" or "1"
        Integer = 3,  ///< decimal, signed 64 bits
        Float = 4,    ///< shortest decimal text that reads back to the same number; "nan", "inf" and "-inf"
        Text = 5,     ///< any bytes
    };

    /// The subtype that values have unless they need another one. Subtype 2 of `Float` is a single-precision number.
    static constexpr std::uint16_t PlainSubtype = 1;
    static constexpr std::uint16_t SinglePrecisionSubtype = 2;

    /// The value without content, serialised "1.1:".
    ZANVALUE() = default;

    static ZANVALUE FromBoolean(bool value);
    static ZANVALUE FromInteger(std::int64_t value);
    static ZANVALUE FromFloat(double value);
    /// A single-precision number; every bit pattern, NaN payloads included, survives `Serialize` and `Deserialize`.
    static ZANVALUE FromSingle(float value);
    static ZANVALUE FromText(zan_string value);

    Type GetType() const noexcept { return type_; }
    std::uint16_t GetSubtype() const noexcept { return subtype_; }

    /// The content as the wanted kind. None where the type does not convert without loss: a boolean reads as 0 or 1, an
    /// integer as a float where it is exact, a float as an integer where it is whole and in range, a text where all of
    /// it is the number's text.
    std::optional<bool> GetBoolean() const;
    std::optional<std::int64_t> GetInteger() const;
    std::optional<double> GetFloat() const;
    /// The single of `FromSingle` with all its bits, or another number where it is exactly a single.
    std::optional<float> GetSingle() const;

    /// The content as plain text; empty without content.
    zan_string ToString() const;

    /// TYPE "." SUBTYPE ":" CONTENT, such as "3.1:42". `Deserialize` is its exact inverse for every value.
    zan_string Serialize() const;

    /// Throws `std::invalid_argument` where `text` is not the serialised form of a value.
    static ZANVALUE Deserialize(const zan_string& text);

    /// Same type, subtype and content; two singles are equal when their bits are.
    friend bool operator==(const ZANVALUE& a, const ZANVALUE& b);
    friend bool operator!=(const ZANVALUE& a, const ZANVALUE& b) { return !(a == b); }

private:
    Type type_ = Type::None;
    std::uint16_t subtype_ = PlainSubtype;
    std::variant<std::monostate, bool, std::int64_t, double, float, zan_string> content_;
};

}  // namespace Zandrel
