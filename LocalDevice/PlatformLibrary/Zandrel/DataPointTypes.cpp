#include "DataPointTypes.h"

#include <algorithm>
#include <array>
#include <boost/endian/conversion.hpp>
#include <cmath>
#include <limits>
#include <string>

#include "Zandrel/EncodedString.h"

namespace Zandrel {

namespace {

using Bytes = DataPointType::Bytes;

template <typename Number>
Number Load(const Bytes& bytes) {
    return boost::endian::endian_load<Number, sizeof(Number), boost::endian::order::big>(bytes.data());
}

template <typename Number>
Bytes Store(Number number) {
    Bytes bytes(sizeof(Number));
    boost::endian::endian_store<Number, sizeof(Number), boost::endian::order::big>(bytes.data(), number);
    return bytes;
}

// The codings. Each has the size of its values in bytes and the two directions of `DataPointType`.

/// One bit; the other bits of the byte are reserved and 0.
struct Bit {
    static constexpr std::size_t Size = 1;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        return bytes[0] > 1 ? std::nullopt : std::optional(ZANVALUE::FromBoolean(bytes[0] == 1));
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        const auto boolean = value.GetBoolean();
        return boolean ? std::optional(Bytes{static_cast<std::uint8_t>(*boolean ? 1 : 0)}) : std::nullopt;
    }
};

/// A whole number. A fraction is no value of the type: what an application wants to lose it has to round itself.
template <typename Number>
struct Whole {
    static constexpr std::size_t Size = sizeof(Number);

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) { return ZANVALUE::FromInteger(Load<Number>(bytes)); }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        using Limits = std::numeric_limits<Number>;
        const auto integer = value.GetInteger();
        if (!integer || *integer < Limits::min() || *integer > Limits::max()) {
            return std::nullopt;
        }
        return Store(static_cast<Number>(*integer));
    }
};

/// A number in steps of `Numerator` / `Denominator`, rounded to the nearest step.
template <typename Number, int Numerator, int Denominator>
struct Scaled {
    static constexpr std::size_t Size = sizeof(Number);

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        const std::int64_t product = std::int64_t{Load<Number>(bytes)} * Numerator;
        if constexpr (Denominator == 1) {
            return ZANVALUE::FromInteger(product);
        } else {
            return ZANVALUE::FromFloat(static_cast<double>(product) / Denominator);
        }
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        using Limits = std::numeric_limits<Number>;
        const auto number = value.GetFloat();
        if (!number) {
            return std::nullopt;
        }
        const double steps = *number * Denominator / Numerator;
        if (!(steps >= Limits::min() && steps <= Limits::max())) {
            return std::nullopt;
        }
        return Store(static_cast<Number>(std::nearbyint(steps)));
    }
};

/// The 16-bit float of main type 9, 0.01 * mantissa * 2^exponent: sign, 4 bits exponent, 11 bits mantissa, sign and
/// mantissa together in two's complement. A number is encoded with the smallest exponent that it fits.
struct HalfFloat {
    static constexpr std::size_t Size = 2;
    static constexpr std::uint16_t Invalid = 0x7FFF;
    static constexpr double StepsPerUnit = 100;
    static constexpr double Largest = 670433.28;
    static constexpr double Smallest = -671088.64;
    static constexpr int MantissaMax = 2047;
    static constexpr int MantissaMin = -2048;
    static constexpr unsigned ExponentShift = 11;
    static constexpr unsigned ExponentMask = 0xF;
    static constexpr unsigned MantissaMask = 0x7FF;
    static constexpr unsigned SignMask = 0x8000;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        const auto code = Load<std::uint16_t>(bytes);
        if (code == Invalid) {
            return std::nullopt;
        }
        const int mantissa = static_cast<int>(code & MantissaMask) + ((code & SignMask) != 0 ? MantissaMin : 0);
        const int exponent = static_cast<int>((code >> ExponentShift) & ExponentMask);
        return ZANVALUE::FromFloat(std::ldexp(mantissa, exponent) / StepsPerUnit);
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        const auto number = value.GetFloat();
        if (!number || !(*number >= Smallest && *number <= Largest)) {
            return std::nullopt;
        }
        unsigned exponent = 0;
        double steps = *number * StepsPerUnit;
        while (std::nearbyint(steps) < MantissaMin || std::nearbyint(steps) > MantissaMax) {
            steps /= 2;
            ++exponent;
        }
        const auto mantissa = static_cast<unsigned>(static_cast<int>(std::nearbyint(steps)));
        const unsigned code = (mantissa & SignMask) | (exponent << ExponentShift) | (mantissa & MantissaMask);
        return Store(static_cast<std::uint16_t>(code));
    }
};

/// IEEE 754 single precision, all bit patterns. A number between two singles becomes the nearer one.
struct Single {
    static constexpr std::size_t Size = 4;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) { return ZANVALUE::FromSingle(Load<float>(bytes)); }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        if (const auto single = value.GetSingle()) {
            return Store(*single);
        }
        const auto number = value.GetFloat();
        if (!number) {
            return std::nullopt;
        }
        const auto nearest = static_cast<float>(*number);
        return std::isinf(nearest) ? std::nullopt : std::optional(Store(nearest));
    }
};

/// 14 characters, padded with zeros; a text ends before its first zero. `LastCharacter` is the last one of the
/// character set, Latin-1 or its half ASCII.
///
/// A longer text is cut, a character outside the set becomes "?". Text that is not UTF-8 is taken byte by byte.
template <unsigned char LastCharacter>
struct Characters {
    static constexpr std::size_t Size = 14;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        const auto end = std::find(bytes.begin(), bytes.end(), 0);
        if (std::any_of(bytes.begin(), end, [](std::uint8_t character) { return character > LastCharacter; })) {
            return std::nullopt;
        }
        return ZANVALUE::FromText(getUTF8FromLatin1(KnxStyleString(std::string(bytes.begin(), end))).GetBytes());
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        if (value.GetType() == ZANVALUE::Type::None) {
            return std::nullopt;
        }
        const std::string text = value.ToString();
        const auto latin1 = getLatin1FromUTF8Lossy(UTF8String(text));
        Bytes bytes(Size);
        auto position = bytes.begin();
        for (const char character : latin1 ? latin1->GetBytes() : text) {
            if (character == '\0' || position == bytes.end()) {
                break;
            }
            const auto byte = static_cast<unsigned char>(character);
            *position++ = byte > LastCharacter ? static_cast<unsigned char>('?') : byte;
        }
        return bytes;
    }
};

constexpr unsigned char LastAscii = 0x7F;
constexpr unsigned char LastLatin1 = 0xFF;

/// As which the values of a main type are declared.
struct Declared {
    ZANVALUE::Type type;
    std::uint16_t subtype;
    const char* initial;
};

constexpr Declared Boolean{ZANVALUE::Type::Boolean, ZANVALUE::PlainSubtype, "0"};
constexpr Declared Integer{ZANVALUE::Type::Integer, ZANVALUE::PlainSubtype, "0"};
constexpr Declared Float{ZANVALUE::Type::Float, ZANVALUE::PlainSubtype, "0"};
constexpr Declared SingleFloat{ZANVALUE::Type::Float, ZANVALUE::SinglePrecisionSubtype, "0"};
constexpr Declared Text{ZANVALUE::Type::Text, ZANVALUE::PlainSubtype, ""};

template <typename Coding>
constexpr DataPointType Row(std::uint32_t mainNumber, int subNumber, const Declared& declared) {
    return {mainNumber,       subNumber,        Coding::Size,    declared.type,
            declared.subtype, declared.initial, &Coding::Decode, &Coding::Encode};
}

constexpr int AnySub = DataPointType::AnySub;

// In ascending order of the main types; within one the row for any sub type comes last.
// Main type 5 is declared as a float, which holds the percentages as well as the counts.
constexpr std::array Table{
    Row<Bit>(1, AnySub, Boolean),
    Row<Scaled<std::uint8_t, 100, 255>>(5, 1, Float),  // percent
    Row<Scaled<std::uint8_t, 360, 255>>(5, 3, Float),  // degrees
    Row<Whole<std::uint8_t>>(5, AnySub, Float),
    Row<Scaled<std::uint16_t, 10, 1>>(7, 3, Integer),   // milliseconds, in steps of 10
    Row<Scaled<std::uint16_t, 100, 1>>(7, 4, Integer),  // milliseconds, in steps of 100
    Row<Whole<std::uint16_t>>(7, AnySub, Integer),
    Row<HalfFloat>(9, AnySub, Float),
    Row<Whole<std::uint32_t>>(12, AnySub, Integer),
    Row<Whole<std::int32_t>>(13, AnySub, Integer),
    Row<Single>(14, AnySub, SingleFloat),
    Row<Characters<LastAscii>>(16, 0, Text),
    Row<Characters<LastLatin1>>(16, AnySub, Text),
};

}  // namespace

const DataPointType* FindDataPointType(std::uint32_t dpt) {
    const std::uint32_t mainNumber = dpt >> 16U;
    const int subNumber = static_cast<int>(dpt & 0xFFFFU);
    const auto* const row = std::find_if(Table.begin(), Table.end(), [&](const DataPointType& type) {
        return type.mainNumber == mainNumber && (type.subNumber == subNumber || type.subNumber == AnySub);
    });
    return row == Table.end() ? nullptr : row;
}

}  // namespace Zandrel
