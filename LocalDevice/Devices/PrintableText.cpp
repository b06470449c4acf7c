#include "PrintableText.h"

#include <boost/format.hpp>
#include <boost/locale/utf.hpp>

namespace LocalDevice {

namespace {

namespace utf = boost::locale::utf;

bool IsControlCharacter(utf::code_point character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::string Escape(utf::code_point control) {
    switch (control) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return (boost::format("\\u%04x") % control).str();
    }
}

}  // namespace

std::string MakePrintable(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    const char* const end = text.data() + text.size();
    for (const char* position = text.data(); position != end;) {
        const char* const begin = position;
        const auto character = utf::utf_traits<char>::decode(position, end);
        if (character == utf::illegal || character == utf::incomplete) {
            printable += (boost::format("\\x%02x") % (static_cast<unsigned>(*begin) & 0xFFU)).str();
            position = begin + 1;
        } else if (IsControlCharacter(character)) {
            printable += Escape(character);
        } else {
            printable.append(begin, position);
        }
    }
    return printable;
}

std::string MakePrintableLines(std::string_view text) {
    const char* const indentation = "\n    ";
    std::string printable;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        printable += MakePrintable(text.substr(0, end)) += indentation;
        text.remove_prefix(end + 1);
    }
    return printable += MakePrintable(text);
}

}  // namespace LocalDevice
