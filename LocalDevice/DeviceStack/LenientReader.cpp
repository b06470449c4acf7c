#include "LenientReader.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "RequestError.h"
#include "Zandrel/EncodedString.h"

namespace LocalDevice {

namespace {

using Zandrel::getLatin1FromUTF8Lossy;
using Zandrel::getUTF8FromLatin1;
using Zandrel::KnxStyleString;
using Zandrel::UTF8String;

constexpr char Quote = '"';
constexpr char Backslash = '\\';

bool IsControl(char character) {
    return static_cast<unsigned char>(character) < 0x20;
}

bool NeedsCare(char character) {
    return character == Backslash || IsControl(character);
}

bool IsAscii(char character) {
    return static_cast<unsigned char>(character) < 0x80;
}

std::string AsUtf8(std::string_view text) {
    std::string bytes(text);
    if (std::all_of(text.begin(), text.end(), IsAscii) || getLatin1FromUTF8Lossy(UTF8String(bytes))) {
        return bytes;
    }
    return getUTF8FromLatin1(KnxStyleString(std::move(bytes))).GetBytes();
}

/// Whether nothing has to be put right for the parser, as in nearly every frame.
bool IsClean(std::string_view bytes) {
    const auto isClean = [](char character) { return IsAscii(character) && !NeedsCare(character); };
    const auto isOpening = [](char character) { return character == '{' || character == '['; };
    return std::all_of(bytes.begin(), bytes.end(), isClean) &&
           static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(), isOpening)) <=
               LenientReader::MaximumDepth;
}

/// Keeps what the parser complains about, and nothing else.
class ComplaintRecorder final : public nlohmann::json_sax<nlohmann::json> {
public:
    std::string complaint;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(string_t&) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }

    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& exception) override {
        // The library puts its own name in brackets first, and the whole of the last token at the end.
        constexpr std::size_t MaximumLength = 200;
        const std::string text = exception.what();
        const std::size_t bracket = text.find("] ");
        complaint = text.substr(bracket == std::string::npos ? 0 : bracket + 2, MaximumLength);
        return false;
    }
};

}  // namespace

std::string LenientReader::ToJson(std::string_view bytes) {
    LenientReader reader(bytes);
    reader.Convert();
    return std::move(reader.json_);
}

void LenientReader::Convert() {
    json_.reserve(bytes_.size() + bytes_.size() / 8);
    while (position_ < bytes_.size()) {
        const char character = bytes_[position_];
        if (character == Quote) {
            ConvertString();
            continue;
        }
        if (character == '\0') {
            throw RequestError("not JSON: a NUL outside of strings, at byte " + std::to_string(position_));
        }
        if (character == '{' || character == '[') {
            if (++depth_ > MaximumDepth) {
                throw RequestError("nested deeper than " + std::to_string(MaximumDepth) + ", at byte " +
                                   std::to_string(position_));
            }
        } else if ((character == '}' || character == ']') && depth_ > 0) {
            --depth_;
        }
        json_ += character;
        ++position_;
    }
}

void LenientReader::ConvertString() {
    const std::size_t begin = position_ + 1;
    const std::size_t end = FindStringEnd(begin);
    if (end == std::string_view::npos) {
        throw RequestError("not JSON: the string at byte " + std::to_string(position_) + " does not end");
    }
    json_ += Quote;
    AppendStringContent(AsUtf8(bytes_.substr(begin, end - begin)));
    json_ += Quote;
    position_ = end + 1;
}

std::size_t LenientReader::FindStringEnd(std::size_t position) const {
    while (position < bytes_.size() && bytes_[position] != Quote) {
        position += bytes_[position] == Backslash ? 2 : 1;
    }
    return position < bytes_.size() ? position : std::string_view::npos;
}

void LenientReader::AppendStringContent(std::string_view content) {
    while (!content.empty()) {
        const auto* special = std::find_if(content.begin(), content.end(), NeedsCare);
        const auto clean = static_cast<std::size_t>(special - content.begin());
        json_.append(content.substr(0, clean));
        content.remove_prefix(clean);
        if (content.empty()) {
            return;
        }
        // The backslash before a raw control byte goes; any other escape is the parser's.
        const std::size_t escape = content[0] == Backslash && content.size() > 1 ? 1 : 0;
        if (IsControl(content[escape])) {
            AppendControlCharacter(content[escape]);
        } else {
            json_.append(content.substr(0, escape + 1));
        }
        content.remove_prefix(escape + 1);
    }
}

void LenientReader::AppendControlCharacter(char character) {
    constexpr std::string_view Digits = "0123456789abcdef";
    json_ += "\\u00";
    json_ += Digits[static_cast<unsigned char>(character) >> 4U];
    json_ += Digits[static_cast<unsigned char>(character) & 0xFU];
}

nlohmann::json ParseLeniently(std::string_view bytes) {
    if (IsClean(bytes)) {
        nlohmann::json value = nlohmann::json::parse(bytes, nullptr, false);
        if (!value.is_discarded()) {
            return value;
        }
    }
    const std::string text = LenientReader::ToJson(bytes);
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        ComplaintRecorder recorder;
        nlohmann::json::sax_parse(text, &recorder);
        throw RequestError("not JSON: " + recorder.complaint);
    }
    return value;
}

}  // namespace LocalDevice
