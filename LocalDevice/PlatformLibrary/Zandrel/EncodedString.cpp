#include "Zandrel/EncodedString.h"

#include <boost/locale/utf.hpp>
#include <iterator>

namespace Zandrel {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;

constexpr boost::locale::utf::code_point LastLatin1Character = 0xFF;

}  // namespace

std::optional<KnxStyleString> getLatin1FromUTF8Lossy(const UTF8String& text) {
    const std::string& utf8 = text.GetBytes();
    std::string latin1;
    latin1.reserve(utf8.size());
    for (auto position = utf8.begin(); position != utf8.end();) {
        const auto character = Utf8::decode(position, utf8.end());
        if (character == boost::locale::utf::illegal || character == boost::locale::utf::incomplete) {
            return std::nullopt;
        }
        latin1 += character <= LastLatin1Character ? static_cast<char>(character) : '?';
    }
    return KnxStyleString(std::move(latin1));
}

UTF8String getUTF8FromLatin1(const KnxStyleString& text) {
    std::string utf8;
    utf8.reserve(text.GetBytes().size());
    for (const char character : text.GetBytes()) {
        Utf8::encode(static_cast<unsigned char>(character), std::back_inserter(utf8));
    }
    return UTF8String(std::move(utf8));
}

}  // namespace Zandrel
