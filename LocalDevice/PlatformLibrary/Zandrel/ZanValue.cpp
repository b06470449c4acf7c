#include "Zandrel/ZanValue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace Zandrel {

namespace {

// A single that is not a number is written with all its bits, "nan(0x7fc00001)", unless they are the usual ones.
constexpr std::uint32_t UsualNanBits = 0x7FC00000;
constexpr std::string_view NanBitsPrefix = "nan(0x";
constexpr std::string_view NanBitsSuffix = ")";
constexpr std::size_t NanBitsDigits = 8;

// Doubles from here on are no int64_t any more: 2^63.
constexpr double IntegerLimit = 9223372036854775808.0;

constexpr std::size_t MaxNumberLength = 32;

std::uint32_t BitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::uint64_t BitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float SingleOf(std::uint32_t bits) {
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// The shortest text that reads back to the same number. `format`: what else `std::to_chars` takes.
template <typename Number, typename... Format>
std::string TextOf(Number number, Format... format) {
    std::array<char, MaxNumberLength> buffer{};
    char* const end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format...).ptr;
    return {buffer.data(), end};
}

std::string TextOfSingle(float value) {
    const std::uint32_t bits = BitsOf(value);
    if (!std::isnan(value) || bits == UsualNanBits) {
        return TextOf(value);
    }
    const std::string digits = TextOf(bits, 16);
    return std::string(NanBitsPrefix) + digits + std::string(NanBitsSuffix);
}

/// The number whose text all of `text` is, none otherwise.
template <typename Number, typename... Format>
std::optional<Number> NumberOf(std::string_view text, Format... format) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, format...);
    if (result.ec != std::errc{} || result.ptr != end) {
        return std::nullopt;
    }
    if constexpr (std::is_floating_point_v<Number>) {
        // Of the spellings that the library reads, only the ones that it writes.
        if (!std::isfinite(number) && text != "nan" && text != "inf" && text != "-inf") {
            return std::nullopt;
        }
    }
    return number;
}

std::optional<float> SingleOfText(std::string_view text) {
    if (text.substr(0, NanBitsPrefix.size()) != NanBitsPrefix) {
        return NumberOf<float>(text);
    }
    const auto digits = text.substr(NanBitsPrefix.size());
    if (digits.size() != NanBitsDigits + NanBitsSuffix.size() || digits.substr(NanBitsDigits) != NanBitsSuffix) {
        return std::nullopt;
    }
    const auto bits = NumberOf<std::uint32_t>(digits.substr(0, NanBitsDigits), 16);
    if (!bits || !std::isnan(SingleOf(*bits))) {
        return std::nullopt;
    }
    return SingleOf(*bits);
}

std::optional<bool> BooleanOf(std::string_view text) {
    if (text != "0" && text != "1") {
        return std::nullopt;
    }
    return text == "1";
}

std::optional<std::int64_t> IntegerOf(double number) {
    if (!(number >= -IntegerLimit && number < IntegerLimit) || std::trunc(number) != number) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

std::optional<double> FloatOf(std::int64_t number) {
    const auto result = static_cast<double>(number);
    return IntegerOf(result) == number ? std::optional(result) : std::nullopt;
}

template <typename Content>
std::optional<ZANVALUE> Make(const std::optional<Content>& content, ZANVALUE (*make)(Content)) {
    return content ? std::optional(make(*content)) : std::nullopt;
}

/// The value with this content, none where the type does not exist or cannot have it.
std::optional<ZANVALUE> ValueOf(ZANVALUE::Type type, std::uint16_t subtype, std::string_view content) {
    switch (type) {
        case ZANVALUE::Type::None:
            return content.empty() ? std::optional(ZANVALUE{}) : std::nullopt;
        case ZANVALUE::Type::Boolean:
            return Make(BooleanOf(content), &ZANVALUE::FromBoolean);
        case ZANVALUE::Type::Integer:
            return Make(NumberOf<std::int64_t>(content), &ZANVALUE::FromInteger);
        case ZANVALUE::Type::Float:
            return subtype == ZANVALUE::SinglePrecisionSubtype ? Make(SingleOfText(content), &ZANVALUE::FromSingle)
                                                               : Make(NumberOf<double>(content), &ZANVALUE::FromFloat);
        case ZANVALUE::Type::Text:
            return ZANVALUE::FromText(zan_string(content));
    }
    return std::nullopt;
}

}  // namespace

ZANVALUE ZANVALUE::FromBoolean(bool value) {
    ZANVALUE result;
    result.type_ = Type::Boolean;
    result.content_ = value;
    return result;
}

ZANVALUE ZANVALUE::FromInteger(std::int64_t value) {
    ZANVALUE result;
    result.type_ = Type::Integer;
    result.content_ = value;
    return result;
}

ZANVALUE ZANVALUE::FromFloat(double value) {
    ZANVALUE result;
    result.type_ = Type::Float;
    // All doubles that are not a number are one value: "nan".
    result.content_ = std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
    return result;
}

ZANVALUE ZANVALUE::FromSingle(float value) {
    ZANVALUE result;
    result.type_ = Type::Float;
    result.subtype_ = SinglePrecisionSubtype;
    result.content_ = value;
    return result;
}

ZANVALUE ZANVALUE::FromText(zan_string value) {
    ZANVALUE result;
    result.type_ = Type::Text;
    result.content_ = std::move(value);
    return result;
}

std::optional<bool> ZANVALUE::GetBoolean() const {
    const auto integer = GetInteger();
    if (!integer || *integer < 0 || *integer > 1) {
        return std::nullopt;
    }
    return *integer == 1;
}

std::optional<std::int64_t> ZANVALUE::GetInteger() const {
    if (const auto* boolean = std::get_if<bool>(&content_)) {
        return *boolean ? 1 : 0;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&content_)) {
        return *integer;
    }
    if (const auto* text = std::get_if<zan_string>(&content_)) {
        if (const auto integer = NumberOf<std::int64_t>(*text)) {
            return integer;
        }
    }
    const auto number = GetFloat();
    return number ? IntegerOf(*number) : std::nullopt;
}

std::optional<double> ZANVALUE::GetFloat() const {
    if (const auto* boolean = std::get_if<bool>(&content_)) {
        return *boolean ? 1.0 : 0.0;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&content_)) {
        return FloatOf(*integer);
    }
    if (const auto* number = std::get_if<double>(&content_)) {
        return *number;
    }
    if (const auto* single = std::get_if<float>(&content_)) {
        return *single;
    }
    if (const auto* text = std::get_if<zan_string>(&content_)) {
        return NumberOf<double>(*text);
    }
    return std::nullopt;
}

std::optional<float> ZANVALUE::GetSingle() const {
    if (const auto* single = std::get_if<float>(&content_)) {
        return *single;
    }
    const auto number = GetFloat();
    if (!number) {
        return std::nullopt;
    }
    const auto single = static_cast<float>(*number);
    const bool exact = std::isnan(*number) || static_cast<double>(single) == *number;
    return exact ? std::optional(single) : std::nullopt;
}

zan_string ZANVALUE::ToString() const {
    if (const auto* boolean = std::get_if<bool>(&content_)) {
        return *boolean ? "1" : "0";
    }
    if (const auto* integer = std::get_if<std::int64_t>(&content_)) {
        return TextOf(*integer);
    }
    if (const auto* number = std::get_if<double>(&content_)) {
        return TextOf(*number);
    }
    if (const auto* single = std::get_if<float>(&content_)) {
        return TextOfSingle(*single);
    }
    if (const auto* text = std::get_if<zan_string>(&content_)) {
        return *text;
    }
    return {};
}

zan_string ZANVALUE::Serialize() const {
    return TextOf(static_cast<std::uint16_t>(type_)) + '.' + TextOf(subtype_) + ':' + ToString();
}

ZANVALUE ZANVALUE::Deserialize(const zan_string& text) {
    const std::string_view all = text;
    const auto colon = all.find(':');
    const auto header = all.substr(0, colon == std::string_view::npos ? 0 : colon);
    const auto dot = header.find('.');
    if (dot == std::string_view::npos) {
        throw std::invalid_argument("a serialised value starts with TYPE.SUBTYPE:");
    }
    const auto type = NumberOf<std::uint16_t>(header.substr(0, dot));
    const auto subtype = NumberOf<std::uint16_t>(header.substr(dot + 1));
    if (!type || !subtype) {
        throw std::invalid_argument("type and subtype of a serialised value are numbers of 16 bits");
    }

    auto value = ValueOf(static_cast<Type>(*type), *subtype, all.substr(colon + 1));
    if (!value) {
        throw std::invalid_argument("a serialised value of type " + TextOf(*type) + " has no such content");
    }
    value->subtype_ = *subtype;
    return *std::move(value);
}

bool operator==(const ZANVALUE& a, const ZANVALUE& b) {
    if (a.type_ != b.type_ || a.subtype_ != b.subtype_) {
        return false;
    }
    if (a.type_ != ZANVALUE::Type::Float) {
        return a.content_ == b.content_;
    }
    if (a.subtype_ == ZANVALUE::SinglePrecisionSubtype) {
        return BitsOf(std::get<float>(a.content_)) == BitsOf(std::get<float>(b.content_));
    }
    return BitsOf(std::get<double>(a.content_)) == BitsOf(std::get<double>(b.content_));
}

}  // namespace Zandrel
