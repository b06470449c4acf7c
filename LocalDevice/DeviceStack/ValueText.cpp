#include "ValueText.h"

#include <stdexcept>
#include <utility>

#include "Zandrel/EncodedString.h"

namespace LocalDevice {

namespace {

using Zandrel::getLatin1FromUTF8Lossy;
using Zandrel::getUTF8FromLatin1;
using Zandrel::KnxStyleString;
using Zandrel::UTF8String;
using Zandrel::ZANVALUE;

std::optional<ZANVALUE> Deserialise(const std::string& text) {
    try {
        return ZANVALUE::Deserialize(text);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

/// TYPE "." SUBTYPE ":" of a data point; empty where it declares no type that values have.
std::string GetDeclaredType(const DataPoint& point) {
    if (point.valueType != "2" && point.valueType != "3" && point.valueType != "4" && point.valueType != "5") {
        return {};
    }
    return *point.valueType + "." + point.valueSubtype.value_or(std::to_string(ZANVALUE::PlainSubtype)) + ":";
}

}  // namespace

TravellingText Pack(std::string bytes) {
    UTF8String text(std::move(bytes));
    if (getLatin1FromUTF8Lossy(text)) {
        return {text.GetBytes(), false};
    }
    return {getUTF8FromLatin1(KnxStyleString(text.GetBytes())).GetBytes(), true};
}

std::string Unpack(TravellingText text, const Place& place) {
    if (!text.isLatin1) {
        return std::move(text.text);
    }
    const UTF8String packed(std::move(text.text));
    const std::optional<KnxStyleString> bytes = getLatin1FromUTF8Lossy(packed);
    if (!bytes || getUTF8FromLatin1(*bytes) != packed) {
        place.Refuse("expected characters up to U+00FF only, as its encoding is latin-1");
    }
    return bytes->GetBytes();
}

std::string ToText(const ZANVALUE& value, ValueFormat format) {
    return format == ValueFormat::Native ? value.Serialize() : value.ToString();
}

ZANVALUE FromSerialised(const std::string& text, const Place& place) {
    std::optional<ZANVALUE> value = Deserialise(text);
    if (!value) {
        place.Refuse(R"(expected a serialised value, such as "3.1:42")");
    }
    return *std::move(value);
}

ZANVALUE FromPlain(const std::string& text, const DataPoint& point, const Place& place) {
    const std::string type = GetDeclaredType(point);
    if (type.empty()) {
        return ZANVALUE::FromText(text);
    }
    std::optional<ZANVALUE> value = Deserialise(type + text);
    if (!value) {
        place.Refuse("expected the text of a value of type " + type.substr(0, type.size() - 1));
    }
    return *std::move(value);
}

}  // namespace LocalDevice
