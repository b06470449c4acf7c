#include "JsonFile.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

namespace LocalDevice {

namespace {

using Json = nlohmann::json;
using Pointer = Json::json_pointer;

/// Walks over a text and tells in which line the character read last stands.
class LineCountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCountingIterator(const char* position, std::size_t& line) : position_(position), line_(&line) {}

    reference operator*() const { return *position_; }
    LineCountingIterator& operator++() {
        // A line feed counts with the character after it: the reader looks one character ahead behind a number.
        if (afterLineFeed_) {
            ++*line_;
        }
        afterLineFeed_ = *position_ == '\n';
        ++position_;
        return *this;
    }
    friend bool operator==(const LineCountingIterator& a, const LineCountingIterator& b) {
        return a.position_ == b.position_;
    }
    friend bool operator!=(const LineCountingIterator& a, const LineCountingIterator& b) { return !(a == b); }

private:
    const char* position_;
    std::size_t* line_;
    bool afterLineFeed_ = false;
};

/// `value` for a message: its JSON text in ASCII, so that it stays on one line, shortened.
std::string Excerpt(const Json& value) {
    constexpr std::size_t MaxLength = 100;
    std::string text = value.dump(-1, ' ', true);
    if (text.size() > MaxLength) {
        text.resize(MaxLength);
        text += "...";
    }
    return text;
}

/// Whether UTF-8 text holds one of the characters U+0000 to U+001F and U+007F to U+009F.
bool HasControlCharacter(const std::string& text) {
    unsigned char before = 0;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F || (before == 0xC2 && byte < 0xA0)) {
            return true;
        }
        before = byte;
    }
    return false;
}

/// The reason in an exception's text, without the exception's name, the position and the text read last.
std::string ReasonOf(const Json::exception& exception) {
    std::string text = exception.what();
    text.erase(0, text.find("] ") + 2);
    if (text.rfind("parse error at ", 0) == 0) {
        text.erase(0, text.find(": ") + 2);
    }
    return text.substr(0, text.find("; last read: "));
}

/// "FILE:LINE: POINTER: problem"; the document itself has no pointer.
std::string Located(const std::string& name, std::size_t line, const Pointer& place, const std::string& problem) {
    std::string text = name + ":" + std::to_string(line) + ": ";
    if (!place.empty()) {
        const std::string pointer = Excerpt(place.to_string());
        text.append(pointer, 1, pointer.size() - (pointer.back() == '"' ? 2 : 1)).append(": ");
    }
    return text + problem;
}

/// Notes the line of each value and stops at what the document reader would let pass: a key that stands twice, of which
/// it would keep the last, and nesting without end.
class Scanner : public nlohmann::json_sax<Json> {
public:
    Scanner(const std::string& name, const std::string& text) : name_(name), text_(text) {}

    std::unordered_map<std::string, std::size_t> Scan() {
        Json::sax_parse(LineCountingIterator(text_.data(), line_),
                        LineCountingIterator(text_.data() + text_.size(), line_), this);
        return std::move(lines_);
    }

    bool null() override { return Scalar(); }
    bool boolean(bool) override { return Scalar(); }
    bool number_integer(number_integer_t) override { return Scalar(); }
    bool number_unsigned(number_unsigned_t) override { return Scalar(); }
    bool number_float(number_float_t, const string_t&) override { return Scalar(); }
    bool string(string_t&) override { return Scalar(); }
    bool binary(binary_t&) override { return Scalar(); }
    bool start_object(std::size_t) override { return Begin(Container{false, 0, {}}); }
    bool start_array(std::size_t) override { return Begin(Container{true, 0, {}}); }
    bool end_object() override { return End(); }
    bool end_array() override { return End(); }

    bool key(string_t& key) override {
        place_.push_back(key);
        const auto [first, isNew] = containers_.back().keys.emplace(key, line_);
        if (!isNew) {
            Fail("stands twice in one object, first on line " + std::to_string(first->second));
        }
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const Json::exception& exception) override {
        const std::size_t last = std::min(position, text_.size() + 1) - 1;
        const std::string before = text_.substr(0, last);
        const auto line = std::count(before.begin(), before.end(), '\n') + 1;
        const std::size_t column = last - (before.rfind('\n') + 1) + 1;
        throw JsonFileError(name_ + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " +
                            ReasonOf(exception));
    }

private:
    struct Container {
        bool isArray;
        std::size_t nextIndex;
        std::map<std::string, std::size_t> keys;  ///< with the line of each
    };

    void EnterValue() {
        if (!containers_.empty() && containers_.back().isArray) {
            place_.push_back(std::to_string(containers_.back().nextIndex++));
        }
        lines_[place_.to_string()] = line_;
    }
    void LeaveValue() {
        if (!containers_.empty()) {
            place_.pop_back();
        }
    }
    bool Scalar() {
        EnterValue();
        LeaveValue();
        return true;
    }
    bool Begin(Container container) {
        EnterValue();
        if (containers_.size() == JsonFile::MaxDepth) {
            Fail("lies deeper than " + std::to_string(JsonFile::MaxDepth) + " levels");
        }
        containers_.push_back(std::move(container));
        return true;
    }
    bool End() {
        containers_.pop_back();
        LeaveValue();
        return true;
    }
    [[noreturn]] void Fail(const std::string& problem) const {
        throw JsonFileError(Located(name_, line_, place_, problem));
    }

    const std::string& name_;
    const std::string& text_;
    std::size_t line_ = 1;
    Pointer place_;
    std::vector<Container> containers_;
    std::unordered_map<std::string, std::size_t> lines_;
};

std::string ReadFile(const std::string& path) {
    boost::system::error_code error;
    const auto status = boost::filesystem::status(path, error);
    if (!boost::filesystem::exists(status)) {
        throw JsonFileError(path + ": cannot be read: " + error.message());
    }
    if (boost::filesystem::is_directory(status)) {
        throw JsonFileError(path + ": is a directory, expected a file");
    }
    if (!boost::filesystem::is_regular_file(status)) {
        throw JsonFileError(path + ": is no regular file");
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw JsonFileError(path + ": cannot be read: " + std::generic_category().message(errno));
    }
    std::string text(JsonFile::MaxBytes + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad()) {
        throw JsonFileError(path + ": cannot be read: " + std::generic_category().message(errno));
    }
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > JsonFile::MaxBytes) {
        throw JsonFileError(path + ": is larger than " + std::to_string(JsonFile::MaxBytes) + " bytes");
    }
    return text;
}

}  // namespace

JsonFile JsonFile::Load(const std::string& path) {
    return Parse(path, ReadFile(path));
}

JsonFile JsonFile::Parse(std::string name, const std::string& text) {
    const auto nul = text.find('\0');
    if (nul != std::string::npos) {
        const auto line = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n') + 1;
        throw JsonFileError(name + ":" + std::to_string(line) + ": expected text, got a NUL byte");
    }
    Lines lines = Scanner(name, text).Scan();
    return {std::move(name), Json::parse(text), std::move(lines)};
}

JsonValue JsonFile::Root() const {
    return {*this, document_, Pointer()};
}

std::size_t JsonFile::LineOf(const Pointer& place) const {
    return lines_.at(place.to_string());
}

void JsonFile::Fail(const Pointer& place, const std::string& problem) const {
    throw JsonFileError(Located(name_, LineOf(place), place, problem));
}

std::uint32_t JsonValue::WholeNumber(std::uint32_t min, std::uint32_t max) const {
    if (value_->is_number_unsigned()) {
        const auto number = value_->get<std::uint64_t>();
        if (number >= min && number <= max) {
            return static_cast<std::uint32_t>(number);
        }
    }
    FailExpecting("a whole number from " + std::to_string(min) + " to " + std::to_string(max));
}

std::string JsonValue::Text() const {
    if (!value_->is_string()) {
        FailExpecting("a text");
    }
    std::string text = value_->get<std::string>();
    if (text.find('\0') != std::string::npos) {
        FailExpecting("a text without NUL");
    }
    return text;
}

std::string JsonValue::PrintableText() const {
    std::string text = Text();
    if (HasControlCharacter(text)) {
        FailExpecting("a text without control characters");
    }
    return text;
}

std::string JsonValue::PrintableText(std::size_t maxBytes) const {
    std::string text = PrintableText();
    if (text.size() > maxBytes) {
        Fail("expected a text of at most " + std::to_string(maxBytes) + " bytes, got " + std::to_string(text.size()) +
             " bytes");
    }
    return text;
}

std::size_t JsonValue::Choice(std::initializer_list<std::string_view> choices) const {
    std::string expected;
    for (const auto* choice = choices.begin(); choice != choices.end(); ++choice) {
        if (*value_ == *choice) {
            return static_cast<std::size_t>(choice - choices.begin());
        }
        expected += (expected.empty() ? "\"" : " or \"") + std::string(*choice) + "\"";
    }
    FailExpecting(expected);
}

std::vector<JsonValue> JsonValue::Elements() const {
    if (!value_->is_array()) {
        FailExpecting("a list");
    }
    std::vector<JsonValue> elements;
    for (std::size_t i = 0; i < value_->size(); ++i) {
        elements.emplace_back(*file_, (*value_)[i], place_ / i);
    }
    return elements;
}

std::vector<std::pair<std::string, JsonValue>> JsonValue::Members() const {
    RequireObject();
    std::vector<std::pair<std::string, JsonValue>> members;
    for (const auto& [key, value] : value_->items()) {
        members.emplace_back(key, JsonValue(*file_, value, place_ / key));
    }
    return members;
}

void JsonValue::AllowOnly(std::initializer_list<std::string_view> keys) const {
    for (const auto& [key, value] : Members()) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            std::string expected;
            for (const auto& allowed : keys) {
                expected += (expected.empty() ? "" : ", ") + std::string(allowed);
            }
            value.Fail("unknown key, expected one of " + expected);
        }
    }
}

JsonValue JsonValue::Member(const std::string& key) const {
    const auto member = FindMember(key);
    if (!member) {
        Fail("expected a member \"" + key + "\", got none");
    }
    return *member;
}

std::optional<JsonValue> JsonValue::FindMember(const std::string& key) const {
    RequireObject();
    const auto member = value_->find(key);
    if (member == value_->end()) {
        return std::nullopt;
    }
    return JsonValue(*file_, *member, place_ / key);
}

void JsonValue::FailExpecting(const std::string& expected) const {
    const std::string got = value_->is_object() ? "an object" : value_->is_array() ? "a list" : Excerpt(*value_);
    Fail("expected " + expected + ", got " + got);
}

void JsonValue::RequireObject() const {
    if (!value_->is_object()) {
        FailExpecting("an object");
    }
}

}  // namespace LocalDevice
