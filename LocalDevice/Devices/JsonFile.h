#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace LocalDevice {

/// What is wrong with a JSON file: `what()` is one line, "FILE:LINE: POINTER: expected WHAT, got VALUE".
class JsonFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class JsonValue;

/// A JSON file (RFC 8259) that a person wrote, read strictly: a key that stands twice, a NUL and deep nesting are
/// errors. Remembers the line of each value for messages.
class JsonFile {
public:
    static constexpr std::size_t MaxBytes = 1U << 20U;
    static constexpr std::size_t MaxDepth = 16;

    /// Reads a regular file. Throws `JsonFileError`.
    static JsonFile Load(const std::string& path);
    /// The same for text that is at hand; `name` stands for the file in messages.
    static JsonFile Parse(std::string name, const std::string& text);

    /// The document. Must not outlive the file.
    JsonValue Root() const;

    /// `problem` with its place in front: the file, the line and the RFC 6901 pointer.
    [[noreturn]] void Fail(const nlohmann::json::json_pointer& place, const std::string& problem) const;
    /// The line of the value at `place`, counted from 1.
    std::size_t LineOf(const nlohmann::json::json_pointer& place) const;

private:
    using Lines = std::unordered_map<std::string, std::size_t>;

    JsonFile(std::string name, nlohmann::json document, Lines lines)
        : name_(std::move(name)), document_(std::move(document)), lines_(std::move(lines)) {}

    std::string name_;
    nlohmann::json document_;
    Lines lines_;  ///< by pointer
};

/// One value of a `JsonFile`, with readers that throw `JsonFileError` where the value is not what is wanted. A plain
/// value; must not outlive the file.
class JsonValue {
public:
    using Pointer = nlohmann::json::json_pointer;

    JsonValue(const JsonFile& file, const nlohmann::json& value, Pointer place)
        : file_(&file), value_(&value), place_(std::move(place)) {}

    /// A whole number from `min` to `max`, both included.
    std::uint32_t WholeNumber(std::uint32_t min, std::uint32_t max) const;
    /// UTF-8 text of any length, without NUL.
    std::string Text() const;
    /// The same without control characters, so that it can be shown in a line.
    std::string PrintableText() const;
    /// The same, of at most `maxBytes` bytes.
    std::string PrintableText(std::size_t maxBytes) const;
    /// The index of the text in `choices`.
    std::size_t Choice(std::initializer_list<std::string_view> choices) const;

    std::vector<JsonValue> Elements() const;
    /// The members of an object, in the order of their keys.
    std::vector<std::pair<std::string, JsonValue>> Members() const;
    /// Fails for a member of another key than these.
    void AllowOnly(std::initializer_list<std::string_view> keys) const;
    JsonValue Member(const std::string& key) const;
    std::optional<JsonValue> FindMember(const std::string& key) const;

    std::size_t Line() const { return file_->LineOf(place_); }

    /// "expected `expected`, got" and the value, shortened.
    [[noreturn]] void FailExpecting(const std::string& expected) const;
    [[noreturn]] void Fail(const std::string& problem) const { file_->Fail(place_, problem); }

private:
    void RequireObject() const;

    const JsonFile* file_;
    const nlohmann::json* value_;
    Pointer place_;
};

}  // namespace LocalDevice
