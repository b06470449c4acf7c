#include "PrintableText.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Console.h"

namespace LocalDevice {
namespace {

TEST(PrintableTextTest, TextStaysAsItIs) {
    for (const char* const text : {"", "a b~", "\\n \"", "\xC2\xA0\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x92\xA1"}) {
        EXPECT_EQ(MakePrintable(text), text);
    }
}

TEST(PrintableTextTest, ControlCharactersAreEscaped) {
    EXPECT_EQ(MakePrintable("a\nb\rc\td"), R"(a\nb\rc\td)");
    EXPECT_EQ(MakePrintable(std::string_view("a\0b", 3)), R"(a\u0000b)");
    EXPECT_EQ(MakePrintable("\x1b[2J\x7f"), R"(\u001b[2J\u007f)");
    EXPECT_EQ(MakePrintable("\xC2\x80\xC2\x9F"), R"(\u0080\u009f)");
}

TEST(PrintableTextTest, BytesThatAreNotUtf8AreEscapedOneByOne) {
    EXPECT_EQ(MakePrintable("\x9B"
                            "1m\xFF"),
              R"(\x9b1m\xff)");
    EXPECT_EQ(MakePrintable("\xC3"), R"(\xc3)");
    EXPECT_EQ(MakePrintable("\xE2\x82z"), R"(\xe2\x82z)");
    EXPECT_EQ(MakePrintable("\xC0\x9B"), R"(\xc0\x9b)");          // U+001B in two bytes
    EXPECT_EQ(MakePrintable("\xED\xA0\x80"), R"(\xed\xa0\x80)");  // a surrogate
    EXPECT_EQ(MakePrintable("\xF4\x90\x80\x80"), R"(\xf4\x90\x80\x80)");
}

TEST(PrintableTextTest, WhatIsPrintableStaysAsItIs) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string printable = MakePrintable(std::string(1, static_cast<char>(byte)));
        EXPECT_EQ(MakePrintable(printable), printable);
    }
}

TEST(PrintableTextTest, LinesStayLinesAndOnlyTheFirstBeginsAtTheBeginning) {
    EXPECT_EQ(MakePrintableLines("one"), "one");
    EXPECT_EQ(MakePrintableLines("one\n\ntwo\x1B\n"), "one\n    \n    two\\u001b\n    ");
    EXPECT_EQ(MakePrintableLines(""), "");
}

TEST(ConsoleTest, WhatIsToldIsOneLine) {
    std::ostringstream out;
    Console sut(out);
    sut.Tell("supervisor", "a\nb\x1b[2J");
    EXPECT_EQ(out.str().substr(12), " == supervisor: a\\nb\\u001b[2J\n");
}

}  // namespace
}  // namespace LocalDevice
