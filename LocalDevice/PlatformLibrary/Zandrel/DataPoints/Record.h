#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Zandrel/DataPointTypes.h"

namespace Zandrel {

/// Neighbouring bits of a value of at most 8 bytes; the lowest bit of its last byte is bit 0.
struct BitField {
    unsigned lowest;
    unsigned width = 1;

    constexpr std::uint64_t GetMax() const { return (std::uint64_t{1} << width) - 1; }
    constexpr std::uint64_t GetMask() const { return GetMax() << lowest; }
    constexpr std::uint64_t Of(std::uint64_t code) const { return code >> lowest & GetMax(); }
};

/// One field of a type with several: its bits and its text. The text of a value is that of its fields, one after the
/// other; a blank in front of the first text is left out.
struct RecordField {
    enum class Kind {
        Decimal,   ///< a whole number, `digits` of them, or as many as it takes where that is 0
        Hex,       ///< two hexadecimal digits
        Fraction,  ///< the part that the code is of the largest one, times `scale`: the shortest decimal text that
                   ///< names it
        Word,      ///< one of `words`; the empty one has no text and no prefix either
    };
    static constexpr std::size_t MaxWords = 8;
    static constexpr int AlwaysThere = -1;

    Kind kind;
    BitField bits;
    const char* prefix;
    std::uint64_t lowest = 0;  ///< The codes of a whole number are the `count` from here on.
    std::uint64_t count = 0;
    std::uint64_t firstCode = 0;  ///< The one that stands for `first`; the next one for the next number, and after the
    std::int64_t first = 0;       ///< last code comes the lowest one.
    unsigned digits = 0;
    double scale = 1;
    std::array<const char*, MaxWords> words{};
    int presenceBit = AlwaysThere;  ///< the bit that tells whether the field holds something,
    bool isThereWhen = false;       ///< what it then is,
    const char* absentText = "";    ///< and the text of a field that does not

    constexpr RecordField ThereWhen(unsigned bit, bool state, const char* otherwise = "") const {
        RecordField field = *this;
        field.presenceBit = static_cast<int>(bit);
        field.isThereWhen = state;
        field.absentText = otherwise;
        return field;
    }
    constexpr std::uint64_t GetPresenceMask() const {
        return presenceBit == AlwaysThere ? 0 : std::uint64_t{1} << static_cast<unsigned>(presenceBit);
    }
    constexpr bool IsThere(std::uint64_t code) const {
        return presenceBit == AlwaysThere || ((code & GetPresenceMask()) != 0) == isThereWhen;
    }
};

/// The numbers from `lowest` to `highest`, which are their own codes.
constexpr RecordField DecimalField(const char* prefix, BitField bits, std::uint64_t lowest, std::uint64_t highest,
                                   unsigned digits = 0) {
    RecordField field{RecordField::Kind::Decimal, bits, prefix};
    field.lowest = lowest;
    field.count = highest - lowest + 1;
    field.firstCode = lowest;
    field.first = static_cast<std::int64_t>(lowest);
    field.digits = digits;
    return field;
}

/// The numbers from `first` on, the first one with the code `firstCode`; after the code `highest` comes 0.
constexpr RecordField ShiftedField(const char* prefix, BitField bits, std::int64_t first, std::uint64_t firstCode,
                                   std::uint64_t highest, unsigned digits = 0) {
    RecordField field = DecimalField(prefix, bits, 0, highest, digits);
    field.firstCode = firstCode;
    field.first = first;
    return field;
}

constexpr RecordField HexField(const char* prefix, BitField bits) {
    return {RecordField::Kind::Hex, bits, prefix};
}

constexpr RecordField FractionField(const char* prefix, BitField bits, double scale) {
    RecordField field{RecordField::Kind::Fraction, bits, prefix};
    field.scale = scale;
    return field;
}

/// One word for each code of the field.
constexpr RecordField WordField(const char* prefix, BitField bits,
                                const std::array<const char*, RecordField::MaxWords>& words) {
    RecordField field{RecordField::Kind::Word, bits, prefix};
    field.words = words;
    return field;
}

/// A bit that has a word when it is set.
constexpr RecordField FlagField(const char* word, unsigned bit) {
    return WordField(" ", {bit}, {"", word});
}

/// The description of a type: its fields in the order of their texts. All other bits are reserved and 0.
struct RecordLayout {
    std::size_t size;  ///< in bytes, 8 at most
    const RecordField* begin;
    const RecordField* end;
    bool (*isPossible)(std::uint64_t code);  ///< what the fields do not tell alone; null: nothing
};

/// The text of a code. None where reserved bits are set, a field is out of range, or the code is not possible. A field
/// that is absent counts as 0, whatever its bits are.
std::optional<std::string> DecodeRecord(const RecordLayout& layout, std::uint64_t code);

/// The code of a text: the inverse. None for any other text.
std::optional<std::uint64_t> EncodeRecord(const RecordLayout& layout, std::string_view text);

std::optional<ZANVALUE> DecodeRecordValue(const RecordLayout& layout, const DataPointType::Bytes& bytes);
std::optional<DataPointType::Bytes> EncodeRecordValue(const RecordLayout& layout, const ZANVALUE& value);

template <const RecordLayout& Layout>
struct RecordCoding {
    static constexpr std::size_t Size = Layout.size;

    static std::optional<ZANVALUE> Decode(const DataPointType::Bytes& bytes) {
        return DecodeRecordValue(Layout, bytes);
    }
    static std::optional<DataPointType::Bytes> Encode(const ZANVALUE& value) {
        return EncodeRecordValue(Layout, value);
    }
};

}  // namespace Zandrel
