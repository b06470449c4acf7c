#include <array>
#include <cmath>
#include <limits>

#include "Families.h"
#include "WholeCoding.h"

namespace Zandrel {

namespace {

using Bytes = DataPointType::Bytes;

/// One bit; the other bits of the byte are reserved and 0.
struct BitCoding {
    static constexpr std::size_t Size = 1;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        return bytes[0] > 1 ? std::nullopt : std::optional(ZANVALUE::FromBoolean(bytes[0] == 1));
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        const auto boolean = value.GetBoolean();
        return boolean ? std::optional(Bytes{static_cast<std::uint8_t>(*boolean ? 1 : 0)}) : std::nullopt;
    }
};

/// A number in steps of `Numerator` / `Denominator`, rounded to the nearest step.
template <typename Number, int Numerator, int Denominator>
struct ScaledCoding {
    static constexpr std::size_t Size = sizeof(Number);

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        const std::int64_t product = std::int64_t{LoadBigEndian<Number>(bytes)} * Numerator;
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
        return StoreBigEndian(static_cast<Number>(std::nearbyint(steps)));
    }
};

/// The 16-bit float of main type 9, 0.01 * mantissa * 2^exponent: sign, 4 bits exponent, 11 bits mantissa, sign and
/// mantissa together in two's complement. A number is encoded with the smallest exponent that it fits.
struct HalfFloatCoding {
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
        const auto code = LoadBigEndian<std::uint16_t>(bytes);
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
        return StoreBigEndian(static_cast<std::uint16_t>(code));
    }
};

/// IEEE 754 single precision, all bit patterns. A number between two singles becomes the nearer one.
struct SingleCoding {
    static constexpr std::size_t Size = 4;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        return ZANVALUE::FromSingle(LoadBigEndian<float>(bytes));
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        if (const auto single = value.GetSingle()) {
            return StoreBigEndian(*single);
        }
        const auto number = value.GetFloat();
        if (!number) {
            return std::nullopt;
        }
        const auto nearest = static_cast<float>(*number);
        return std::isinf(nearest) ? std::nullopt : std::optional(StoreBigEndian(nearest));
    }
};

/// Status with mode, 6.020: five status bits above three, one of which is set and tells the mode.
constexpr bool IsStatusWithMode(std::uint8_t code) {
    const unsigned mode = code & 7U;
    return mode == 1 || mode == 2 || mode == 4;
}

constexpr Declared FirstMode{ZANVALUE::Type::Integer, ZANVALUE::PlainSubtype, "1"};

constexpr std::uint8_t LastScene = 63;
constexpr std::uint8_t LastTariff = 254;

// Main types 5 and 8 are declared as floats, which hold their percentages as well as their counts. A main type has one
// declared type, so that the status of 6.020 is a number as its neighbours are.
constexpr std::array NumberTable{
    Row<BitCoding>(1, AnySub, DeclaredBoolean),
    Row<ScaledCoding<std::uint8_t, 100, 255>>(5, 1, DeclaredFloat),                              // percent
    Row<ScaledCoding<std::uint8_t, 360, 255>>(5, 3, DeclaredFloat),                              // degrees
    Row<WholeCoding<std::uint8_t, &IsCodeUpTo<std::uint8_t, LastTariff>>>(5, 6, DeclaredFloat),  // tariff
    Row<WholeCoding<std::uint8_t>>(5, AnySub, DeclaredFloat),
    Row<WholeCoding<std::uint8_t, &IsStatusWithMode>>(6, 20, FirstMode),
    Row<WholeCoding<std::int8_t>>(6, AnySub, DeclaredInteger),
    Row<ScaledCoding<std::uint16_t, 10, 1>>(7, 3, DeclaredInteger),   // milliseconds, in steps of 10
    Row<ScaledCoding<std::uint16_t, 100, 1>>(7, 4, DeclaredInteger),  // milliseconds, in steps of 100
    Row<WholeCoding<std::uint16_t>>(7, AnySub, DeclaredInteger),
    Row<ScaledCoding<std::int16_t, 10, 1>>(8, 3, DeclaredFloat),    // milliseconds, in steps of 10
    Row<ScaledCoding<std::int16_t, 100, 1>>(8, 4, DeclaredFloat),   // milliseconds, in steps of 100
    Row<ScaledCoding<std::int16_t, 1, 100>>(8, 10, DeclaredFloat),  // percent, in steps of 0.01
    Row<WholeCoding<std::int16_t>>(8, AnySub, DeclaredFloat),
    Row<HalfFloatCoding>(9, AnySub, DeclaredFloat),
    Row<WholeCoding<std::uint32_t>>(12, AnySub, DeclaredInteger),
    Row<WholeCoding<std::int32_t>>(13, AnySub, DeclaredInteger),
    Row<SingleCoding>(14, AnySub, DeclaredSingle),
    Row<WholeCoding<std::uint8_t, &IsCodeUpTo<std::uint8_t, LastScene>>>(17, AnySub, DeclaredInteger),
    Row<WholeCoding<std::uint8_t>>(20, AnySub, DeclaredInteger),
    Row<WholeCoding<std::int64_t>>(29, AnySub, DeclaredInteger),
};

}  // namespace

DataPointFamily GetNumberTypes() {
    return FamilyOf(NumberTable);
}

}  // namespace Zandrel
