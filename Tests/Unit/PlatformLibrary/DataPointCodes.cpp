#include "DataPointCodes.h"

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <utility>

#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/ZanValue.h"

namespace DataPointCodes {

namespace {

using Zandrel::DataPointType;
using Zandrel::ZANVALUE;

constexpr std::size_t TextLength = 14;
constexpr std::size_t MaxVariableSize = 252;

std::uint64_t Mask(unsigned lowest, unsigned width) {
    return (width == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << width) - 1) << lowest;
}

/// Bits that tell a fate of their own, whatever the bits outside are, where the bits of `fixed` have the state `when`.
struct Case {
    std::uint64_t fixed;
    std::uint64_t when;
    std::vector<std::uint64_t> parts;
};

/// The types of more than two bytes whose parts are not just their halves and quarters.
const std::map<std::uint32_t, std::vector<Case>>& GetDependentTypes() {
    constexpr std::uint64_t ColourIsThere = 2;
    constexpr std::uint64_t EnergyIsAbsent = 2;
    static const std::map<std::uint32_t, std::vector<Case>> types{
        // day, month and year; the reserved bits
        {11, {{0, 0, {0x1F0F7F, 0xE0F080}}}},
        // year, month and day with two flags; time with one; weekday with one; working day with one; four flags; the
        // reserved bits
        {19,
         {{0,
           0,
           {0xFF0F1F0000001800, 0x0000001F3F3F0200, 0x000000E000000400, 0x0000000000006000, 0x00000000000081C0,
            0x00F0E000C0C0003F}}}},
        {235,
         {{EnergyIsAbsent, 0, {Mask(32, 16), Mask(16, 16), 0xFF01, 0xFC}},
          {EnergyIsAbsent, EnergyIsAbsent, {Mask(16, 32), 0xFF01, 0xFC}}}},
        {242,
         {{ColourIsThere, ColourIsThere, {Mask(32, 16), Mask(16, 16), 0xFF01, 0xFC}},
          {ColourIsThere, 0, {Mask(16, 32), 0xFF01, 0xFC}}}},
        {251, {{0, 0, {0xFF0000000008, 0x00FF00000004, 0x0000FF000002, 0x000000FF0001, 0x00000000FFF0}}}},
    };
    return types;
}

std::vector<Case> CasesOf(const DataPointType& type) {
    const auto found = GetDependentTypes().find(type.mainNumber);
    if (found != GetDependentTypes().end()) {
        return found->second;
    }
    constexpr unsigned PartBits = 16;
    const auto bits = static_cast<unsigned>(8 * type.size);
    Case all{0, 0, {}};
    for (unsigned lowest = 0; lowest < bits; lowest += PartBits) {
        all.parts.push_back(Mask(lowest, std::min(PartBits, bits - lowest)));
    }
    return {all};
}

std::uint64_t NumberOf(const Bytes& bytes) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8U | byte;
    }
    return number;
}

std::string DeclaredType(const DataPointType& type) {
    return std::to_string(static_cast<unsigned>(type.type)) + "." + std::to_string(type.subtype);
}

std::uint64_t DefaultCode(std::uint32_t dpt, const DataPointType& type) {
    return NumberOf(Encode(dpt, DeclaredType(type) + ":" + type.initial).value());
}

/// The `index`-th code of the bits of a mask, in their places.
std::uint64_t Deposit(std::uint64_t index, std::uint64_t mask) {
    std::uint64_t code = 0;
    for (; mask != 0; mask &= mask - 1, index >>= 1U) {
        code |= (index & 1U) != 0 ? mask & (~mask + 1) : 0;
    }
    return code;
}

unsigned CountBits(std::uint64_t mask) {
    unsigned bits = 0;
    for (; mask != 0; mask &= mask - 1) {
        ++bits;
    }
    return bits;
}

Number Power(std::uint64_t base, std::size_t exponent) {
    return boost::multiprecision::pow(Number(base), static_cast<unsigned>(exponent));
}

/// A part of more bits than can be tried out is one that counts for nothing: as each of its bits does not, alone or
/// with the others.
constexpr unsigned MaxTriedBits = 20;

Counts CountPart(std::uint32_t dpt, std::size_t size, std::uint64_t base, std::uint64_t mask) {
    const unsigned bits = CountBits(mask);
    if (bits > MaxTriedBits) {
        for (unsigned bit = 0; bit < bits; ++bit) {
            for (const std::uint64_t index : {std::uint64_t{1} << bit, Mask(0, bit + 1)}) {
                if (FateOf(dpt, BigEndian((base & ~mask) | Deposit(index, mask), size)) != Fate::Altered) {
                    throw std::logic_error("a part that is to count for nothing counts");
                }
            }
        }
        return {1, Power(2, bits) - 1, 0};
    }
    Counts counts;
    for (std::uint64_t index = 0; index < std::uint64_t{1} << bits; ++index) {
        switch (FateOf(dpt, BigEndian((base & ~mask) | Deposit(index, mask), size))) {
            case Fate::Canonical:
                ++counts.canonical;
                break;
            case Fate::Altered:
                ++counts.altered;
                break;
            case Fate::NoValue:
                ++counts.noValue;
                break;
        }
    }
    return counts;
}

/// 14 characters: `characters` of the 255 codes that are not 0 are characters.
Counts CountTexts(std::uint32_t dpt) {
    std::uint64_t characters = 0;
    for (unsigned code = 1; code < 256; ++code) {
        Bytes bytes(TextLength);
        bytes[0] = static_cast<std::uint8_t>(code);
        characters += FateOf(dpt, bytes) == Fate::Canonical ? 1 : 0;
    }
    Number canonical;
    Number values;
    for (std::size_t length = 0; length <= TextLength; ++length) {
        canonical += Power(characters, length);
        values += Power(characters, length) * (length < TextLength ? Power(256, TextLength - 1 - length) : 1);
    }
    return {canonical, values - canonical, Power(256, TextLength) - values};
}

/// UTF-8 with a zero: tries every character, and knows what a text of several is.
Counts CountUtf8Texts(std::uint32_t dpt) {
    constexpr std::size_t MaxCharacterBytes = 4;
    constexpr std::uint64_t Continuations = 64;
    std::array<std::uint64_t, MaxCharacterBytes + 1> characters{};
    const auto isText = [dpt](const Bytes& bytes) { return FateOf(dpt, bytes) == Fate::Canonical; };
    for (unsigned lead = 0; lead < 256; ++lead) {
        const auto first = static_cast<std::uint8_t>(lead);
        characters[1] += isText({first, 0}) ? 1 : 0;
        // From here on one character; the first two bytes tell whether the others may be any continuation.
        for (unsigned next = 0; lead >= 0x80 && next < 256; ++next) {
            const auto second = static_cast<std::uint8_t>(next);
            characters[2] += isText({first, second, 0}) ? 1 : 0;
            characters[3] += isText({first, second, 0x80, 0}) ? Continuations : 0;
            characters[4] += isText({first, second, 0x80, 0x80, 0}) ? Continuations * Continuations : 0;
        }
    }
    std::vector<Number> texts{1};
    Number canonical = 1;
    Number all = 1;
    for (std::size_t length = 1; length <= MaxVariableSize; ++length) {
        all += Power(256, length);
        if (length == MaxVariableSize) {
            break;
        }
        Number ofLength;
        for (std::size_t last = 1; last <= std::min(length, MaxCharacterBytes); ++last) {
            ofLength += texts[length - last] * characters.at(last);
        }
        texts.push_back(ofLength);
        canonical += ofLength;
    }
    return {canonical, 0, all - canonical};
}

}  // namespace

Bytes BigEndian(std::uint64_t number, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = size; i-- > 0; number >>= 8U) {
        bytes[i] = static_cast<std::uint8_t>(number);
    }
    return bytes;
}

std::optional<std::string> Decode(std::uint32_t dpt, Bytes bytes) {
    const auto value = Zandrel::GroupValueToZanValue(KnxStack::GroupValue(std::move(bytes)), dpt);
    return value ? std::optional(value->Serialize()) : std::nullopt;
}

std::optional<Bytes> Encode(std::uint32_t dpt, const std::string& serialised) {
    const auto group = Zandrel::ZanValueToGroupValue(ZANVALUE::Deserialize(serialised), dpt);
    return group ? std::optional(group->GetBytes()) : std::nullopt;
}

Fate FateOf(std::uint32_t dpt, const Bytes& bytes) {
    const auto serialised = Decode(dpt, bytes);
    if (!serialised) {
        return Fate::NoValue;
    }
    const auto again = Encode(dpt, *serialised);
    // A value that is written as plain text has the declared type.
    const auto colon = serialised->find(':');
    const std::string declared = DeclaredType(*Zandrel::FindDataPointType(dpt));
    const bool isSameInPlain =
        serialised->compare(0, colon, declared) == 0 || Encode(dpt, declared + serialised->substr(colon)) == again;
    const bool isSameAgain = again == bytes || (again && Decode(dpt, *again) == serialised);
    if (!isSameInPlain || !isSameAgain) {
        throw std::logic_error("the value \"" + *serialised + "\" does not come back");
    }
    return *again == bytes ? Fate::Canonical : Fate::Altered;
}

Counts CountCodes(std::uint32_t dpt, const DataPointType& type) {
    if (type.size == DataPointType::VariableSize) {
        return CountUtf8Texts(dpt);
    }
    if (type.size == TextLength) {
        return CountTexts(dpt);
    }
    Counts counts;
    for (const Case& one : CasesOf(type)) {
        const std::uint64_t base = (DefaultCode(dpt, type) & ~one.fixed) | one.when;
        Number canonical = 1;
        Number values = 1;
        Number all = 1;
        for (const std::uint64_t part : one.parts) {
            const Counts own = CountPart(dpt, type.size, base, part);
            canonical *= own.canonical;
            values *= own.canonical + own.altered;
            all *= Power(2, CountBits(part));
        }
        counts.canonical += canonical;
        counts.altered += values - canonical;
        counts.noValue += all - values;
    }
    return counts;
}

Fate FateByParts(std::uint32_t dpt, const DataPointType& type, std::uint64_t code) {
    auto fate = Fate::Canonical;
    for (const Case& one : CasesOf(type)) {
        if ((code & one.fixed) != one.when) {
            continue;
        }
        const std::uint64_t base = (DefaultCode(dpt, type) & ~one.fixed) | one.when;
        for (const std::uint64_t part : one.parts) {
            fate = std::max(fate, FateOf(dpt, BigEndian((base & ~part) | (code & part), type.size)));
        }
    }
    return fate;
}

std::uint64_t RandomCode(std::uint32_t dpt, const DataPointType& type, std::uint64_t random, std::uint64_t selection) {
    std::uint64_t code = DefaultCode(dpt, type);
    for (const Case& one : CasesOf(type)) {
        for (const std::uint64_t part : one.parts) {
            if ((selection & 1U) != 0) {
                code = (code & ~part) | (random & part);
            }
            selection >>= 1U;
        }
        code = (code & ~one.fixed) | (random & one.fixed);
    }
    return code & Mask(0, static_cast<unsigned>(8 * type.size));
}

}  // namespace DataPointCodes
