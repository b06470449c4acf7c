#pragma once

#include <optional>
#include <string>
#include <utility>

namespace Zandrel {

/// Text whose type says how its bytes are to be read, so that the two encodings of the system cannot be mixed up.
template <typename Encoding>
class EncodedString {
public:
    EncodedString() = default;
    explicit EncodedString(std::string bytes) noexcept : bytes_(std::move(bytes)) {}

    const std::string& GetBytes() const noexcept { return bytes_; }

    friend bool operator==(const EncodedString& a, const EncodedString& b) noexcept { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const EncodedString& a, const EncodedString& b) noexcept { return !(a == b); }

private:
    std::string bytes_;
};

/// ISO 8859-1, one byte a character: the texts of the KNX bus.
using KnxStyleString = EncodedString<struct Latin1Encoding>;

/// UTF-8: the texts of the device stack.
using UTF8String = EncodedString<struct Utf8Encoding>;

/// Converts; a character that Latin-1 lacks becomes "?". None when `text` is not UTF-8 (RFC 3629).
std::optional<KnxStyleString> getLatin1FromUTF8Lossy(const UTF8String& text);

/// Converts; never fails.
UTF8String getUTF8FromLatin1(const KnxStyleString& text);

}  // namespace Zandrel
