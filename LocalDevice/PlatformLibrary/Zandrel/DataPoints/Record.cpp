#include "Record.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace Zandrel {

namespace {

using Kind = RecordField::Kind;

constexpr std::size_t MaxFieldNumberLength = 32;
constexpr unsigned HexDigits = 2;
constexpr int HexBase = 16;

/// The text of a number, with zeros in front up to `digits`.
template <typename Number, typename... Format>
std::string TextOf(Number number, unsigned digits, Format... format) {
    std::array<char, MaxFieldNumberLength> buffer{};
    const char* const end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format...).ptr;
    const auto length = static_cast<std::size_t>(end - buffer.data());
    return std::string(digits > length ? digits - length : 0, '0').append(buffer.data(), length);
}

std::optional<std::string> DecimalText(const RecordField& field, std::uint64_t code) {
    if (code < field.lowest || code - field.lowest >= field.count) {
        return std::nullopt;
    }
    const std::uint64_t distance = (code + field.count - field.firstCode) % field.count;
    return TextOf(field.first + static_cast<std::int64_t>(distance), field.digits);
}

/// The code nearest to a part of `scale`.
std::uint64_t FractionCode(const RecordField& field, double number) {
    return static_cast<std::uint64_t>(std::nearbyint(number / field.scale * static_cast<double>(field.bits.GetMax())));
}

/// The shortest text of all that are read as the code.
std::string FractionText(const RecordField& field, std::uint64_t code) {
    const double number = static_cast<double>(code) / static_cast<double>(field.bits.GetMax()) * field.scale;
    std::string text;
    double read = -1;
    for (int decimals = 0; read < 0 || FractionCode(field, read) != code; ++decimals) {
        text = TextOf(number, 0, std::chars_format::fixed, decimals);
        std::from_chars(text.data(), text.data() + text.size(), read);
    }
    return text;
}

std::optional<std::string> WordText(const RecordField& field, std::uint64_t code) {
    const char* const word = code < field.words.size() ? field.words.at(static_cast<std::size_t>(code)) : nullptr;
    return word == nullptr ? std::nullopt : std::optional<std::string>(word);
}

std::optional<std::string> FieldText(const RecordField& field, std::uint64_t code) {
    switch (field.kind) {
        case Kind::Decimal:
            return DecimalText(field, code);
        case Kind::Hex: {
            std::string text = TextOf(code, HexDigits, HexBase);
            std::transform(text.begin(), text.end(), text.begin(),
                           [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
            return text;
        }
        case Kind::Fraction:
            return FractionText(field, code);
        case Kind::Word:
            return WordText(field, code);
    }
    return std::nullopt;
}

/// A text that is read from its beginning.
class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool IsAtEnd() const { return rest_.empty(); }
    bool IsAtMinus() const { return rest_.substr(0, 1) == "-"; }

    bool Skip(std::string_view expected) {
        if (rest_.substr(0, expected.size()) != expected) {
            return false;
        }
        Advance(expected.size());
        return true;
    }

    /// Skips a prefix, which lacks its blank in front of the first text.
    bool SkipPrefix(std::string_view prefix) {
        if (isAtBegin_ && !prefix.empty() && prefix.front() == ' ') {
            prefix.remove_prefix(1);
        }
        return Skip(prefix);
    }

    /// Reads a number, of exactly `digits` digits unless that is 0.
    template <typename Number, typename... Format>
    std::optional<Number> Read(unsigned digits, Format... format) {
        const std::string_view text = digits == 0 ? rest_ : rest_.substr(0, digits);
        Number number{};
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, format...);
        const auto length = static_cast<std::size_t>(end - text.data());
        if (error != std::errc() || (digits != 0 && length != digits)) {
            return std::nullopt;
        }
        Advance(length);
        return number;
    }

    std::string_view ReadWord() {
        const std::string_view word = rest_.substr(0, rest_.find(' '));
        Advance(word.size());
        return word;
    }

private:
    void Advance(std::size_t length) {
        rest_.remove_prefix(length);
        isAtBegin_ = isAtBegin_ && length == 0;
    }

    std::string_view rest_;
    bool isAtBegin_ = true;
};

std::optional<std::uint64_t> ReadDecimal(const RecordField& field, Reader& reader) {
    if (reader.IsAtMinus() && field.first >= 0) {
        return std::nullopt;
    }
    const auto number = reader.Read<std::int64_t>(field.digits);
    if (!number || *number < field.first) {
        return std::nullopt;
    }
    const std::uint64_t distance = static_cast<std::uint64_t>(*number) - static_cast<std::uint64_t>(field.first);
    if (distance >= field.count) {
        return std::nullopt;
    }
    return field.lowest + (field.firstCode - field.lowest + distance) % field.count;
}

std::optional<std::uint64_t> ReadFraction(const RecordField& field, Reader& reader) {
    const auto number = reader.Read<double>(0);
    if (!number || !(*number >= 0 && *number <= field.scale)) {
        return std::nullopt;
    }
    return FractionCode(field, *number);
}

std::optional<std::uint64_t> FindWord(const RecordField& field, std::string_view wanted) {
    const auto codes = static_cast<std::ptrdiff_t>(field.bits.GetMax()) + 1;
    const auto* const end = field.words.begin() + codes;
    const auto* const word = std::find_if(field.words.begin(), end, [wanted](const char* candidate) {
        return candidate != nullptr && candidate == wanted;
    });
    return word == end ? std::nullopt : std::optional(static_cast<std::uint64_t>(word - field.words.begin()));
}

/// Reads prefix and text of a field.
std::optional<std::uint64_t> ReadField(const RecordField& field, Reader& reader) {
    if (!reader.SkipPrefix(field.prefix)) {
        return std::nullopt;
    }
    switch (field.kind) {
        case Kind::Decimal:
            return ReadDecimal(field, reader);
        case Kind::Hex:
            return reader.Read<std::uint64_t>(HexDigits, HexBase);
        case Kind::Fraction:
            return ReadFraction(field, reader);
        case Kind::Word: {
            const std::string_view word = reader.ReadWord();
            return word.empty() ? std::nullopt : FindWord(field, word);
        }
    }
    return std::nullopt;
}

/// The bits of a field in the code whose text this is: its own and its presence bit. `known`: the presence bits that
/// earlier fields have settled, with their states in `code`.
std::optional<std::uint64_t> EncodeField(const RecordField& field, std::uint64_t code, std::uint64_t known,
                                         Reader& reader) {
    const std::uint64_t presence = field.GetPresenceMask();
    const bool isSettled = (known & presence) == presence;
    if (!isSettled || field.IsThere(code)) {
        Reader trial = reader;
        if (const auto own = ReadField(field, trial)) {
            reader = trial;
            return *own << field.bits.lowest | (field.isThereWhen ? presence : 0);
        }
    }
    if (presence == 0) {
        const auto own = field.kind == Kind::Word ? FindWord(field, "") : std::nullopt;
        return own ? std::optional(*own << field.bits.lowest) : std::nullopt;
    }
    const bool mayBeAbsent = !isSettled || !field.IsThere(code);
    if (!mayBeAbsent || !reader.Skip(field.absentText)) {
        return std::nullopt;
    }
    return field.isThereWhen ? 0 : presence;
}

}  // namespace

std::optional<std::string> DecodeRecord(const RecordLayout& layout, std::uint64_t code) {
    std::string text;
    std::uint64_t defined = 0;
    for (const RecordField* field = layout.begin; field != layout.end; ++field) {
        defined |= field->bits.GetMask() | field->GetPresenceMask();
        if (!field->IsThere(code)) {
            text += field->absentText;
            continue;
        }
        const auto own = FieldText(*field, field->bits.Of(code));
        if (!own) {
            return std::nullopt;
        }
        if (own->empty()) {
            continue;
        }
        const std::string_view prefix = field->prefix;
        text += prefix.substr(text.empty() && prefix.substr(0, 1) == " " ? 1 : 0);
        text += *own;
    }
    const bool isValue = (code & ~defined) == 0 && (layout.isPossible == nullptr || layout.isPossible(code));
    return isValue ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<std::uint64_t> EncodeRecord(const RecordLayout& layout, std::string_view text) {
    Reader reader(text);
    std::uint64_t code = 0;
    std::uint64_t known = 0;
    for (const RecordField* field = layout.begin; field != layout.end; ++field) {
        const auto bits = EncodeField(*field, code, known, reader);
        if (!bits) {
            return std::nullopt;
        }
        code |= *bits;
        known |= field->GetPresenceMask();
    }
    const bool isValue = reader.IsAtEnd() && (layout.isPossible == nullptr || layout.isPossible(code));
    return isValue ? std::optional(code) : std::nullopt;
}

std::optional<ZANVALUE> DecodeRecordValue(const RecordLayout& layout, const DataPointType::Bytes& bytes) {
    std::uint64_t code = 0;
    for (const std::uint8_t byte : bytes) {
        code = code << 8U | byte;
    }
    auto text = DecodeRecord(layout, code);
    return text ? std::optional(ZANVALUE::FromText(*std::move(text))) : std::nullopt;
}

std::optional<DataPointType::Bytes> EncodeRecordValue(const RecordLayout& layout, const ZANVALUE& value) {
    if (value.GetType() == ZANVALUE::Type::None) {
        return std::nullopt;
    }
    const auto code = EncodeRecord(layout, value.ToString());
    if (!code) {
        return std::nullopt;
    }
    DataPointType::Bytes bytes(layout.size);
    std::uint64_t rest = *code;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, rest >>= 8U) {
        *byte = static_cast<std::uint8_t>(rest);
    }
    return bytes;
}

}  // namespace Zandrel
