#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace LocalDevice {

/// Turns what a client sent into JSON (RFC 8259) by putting right what writers of configuration documents leave as it
/// is. Within strings:
///
/// - a backslash before a raw control byte is dropped: it stands for the control byte;
/// - a raw control byte, NUL included, stands for itself;
/// - a string whose bytes are not UTF-8 is Latin-1.
///
/// Everything else passes as it is, for the JSON parser to judge. Takes linear time and no recursion. Throws
/// `RequestError` for a string without end, a NUL outside of strings and a nesting deeper than `MaximumDepth`.
class LenientReader {
public:
    static constexpr std::size_t MaximumDepth = 64;

    static std::string ToJson(std::string_view bytes);

private:
    explicit LenientReader(std::string_view bytes) : bytes_(bytes) {}

    void Convert();
    void ConvertString();
    std::size_t FindStringEnd(std::size_t position) const;
    void AppendStringContent(std::string_view content);
    void AppendControlCharacter(char character);

    std::string_view bytes_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    std::string json_;
};

/// The JSON value of a client's frame. Throws `RequestError` that says where the frame stops being JSON.
nlohmann::json ParseLeniently(std::string_view bytes);

}  // namespace LocalDevice
