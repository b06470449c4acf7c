#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <utility>

#include "Families.h"
#include "Zandrel/EncodedString.h"

namespace Zandrel {

namespace {

using Bytes = DataPointType::Bytes;

constexpr unsigned char LastAscii = 0x7F;
constexpr unsigned char LastLatin1 = 0xFF;

/// Characters, padded with zeros; a text ends before its first zero. None where one is after `LastCharacter`,
/// the last one of the character set.
template <unsigned char LastCharacter>
std::optional<ZANVALUE> DecodeCharacters(const Bytes& bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    if (std::any_of(bytes.begin(), end, [](std::uint8_t character) { return character > LastCharacter; })) {
        return std::nullopt;
    }
    return ZANVALUE::FromText(getUTF8FromLatin1(KnxStyleString(std::string(bytes.begin(), end))).GetBytes());
}

/// One character of Latin-1 or its half ASCII, or none at all, which is the code 0.
template <unsigned char LastCharacter>
struct CharacterCoding {
    static constexpr std::size_t Size = 1;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) { return DecodeCharacters<LastCharacter>(bytes); }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        if (value.GetType() == ZANVALUE::Type::None) {
            return std::nullopt;
        }
        const UTF8String text(value.ToString());
        const auto latin1 = getLatin1FromUTF8Lossy(text);
        // What was replaced does not come back.
        if (!latin1 || latin1->GetBytes().size() > Size || getUTF8FromLatin1(*latin1) != text) {
            return std::nullopt;
        }
        const std::string& characters = latin1->GetBytes();
        const auto code = characters.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(characters.front());
        const bool isValue = code <= LastCharacter && (code != 0 || characters.empty());
        return isValue ? std::optional(Bytes{code}) : std::nullopt;
    }
};

/// 14 characters of Latin-1 or its half ASCII.
///
/// A longer text is cut, a character outside the set becomes "?". Text that is not UTF-8 is taken byte by byte.
template <unsigned char LastCharacter>
struct CharactersCoding {
    static constexpr std::size_t Size = 14;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) { return DecodeCharacters<LastCharacter>(bytes); }
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

/// UTF-8 (RFC 3629) with a zero at its end and none before.
struct Utf8Coding {
    static constexpr std::size_t Size = DataPointType::VariableSize;
    /// What an extended frame carries, the zero included.
    static constexpr std::size_t MaxSize = 252;

    static std::optional<ZANVALUE> Decode(const Bytes& bytes) {
        const auto zero = std::find(bytes.begin(), bytes.end(), 0);
        if (bytes.size() > MaxSize || zero == bytes.end() || std::next(zero) != bytes.end()) {
            return std::nullopt;
        }
        std::string text(bytes.begin(), zero);
        return IsUtf8(text) ? std::optional(ZANVALUE::FromText(std::move(text))) : std::nullopt;
    }
    static std::optional<Bytes> Encode(const ZANVALUE& value) {
        const std::string text = value.ToString();
        const bool isValue = value.GetType() != ZANVALUE::Type::None && text.size() < MaxSize &&
                             text.find('\0') == std::string::npos && IsUtf8(text);
        if (!isValue) {
            return std::nullopt;
        }
        Bytes bytes(text.begin(), text.end());
        bytes.push_back(0);
        return bytes;
    }
    static bool IsUtf8(const std::string& text) { return getLatin1FromUTF8Lossy(UTF8String(text)).has_value(); }
};

constexpr std::array TextTable{
    Row<CharacterCoding<LastAscii>>(4, 1, DeclaredText("")),
    Row<CharacterCoding<LastLatin1>>(4, AnySub, DeclaredText("")),
    Row<CharactersCoding<LastAscii>>(16, 0, DeclaredText("")),
    Row<CharactersCoding<LastLatin1>>(16, AnySub, DeclaredText("")),
    Row<Utf8Coding>(28, AnySub, DeclaredText("")),
};

}  // namespace

DataPointFamily GetTextTypes() {
    return FamilyOf(TextTable);
}

}  // namespace Zandrel
