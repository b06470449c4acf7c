#include "Zandrel/EncodedString.h"

#include <gtest/gtest.h>

#include <string>

#include "Zandrel/OrnKnxHelper.h"

namespace {

using namespace Zandrel;
using namespace std::string_literals;

std::optional<std::string> ToLatin1(const std::string& utf8) {
    const auto latin1 = getLatin1FromUTF8Lossy(UTF8String(utf8));
    return latin1 ? std::optional(latin1->GetBytes()) : std::nullopt;
}

std::string ToUtf8(const std::string& latin1) {
    return getUTF8FromLatin1(KnxStyleString(latin1)).GetBytes();
}

TEST(EncodedString, convertsEveryLatin1CharacterBothWays) {
    for (int code = 0; code < 256; ++code) {
        const std::string latin1(1, static_cast<char>(code));
        const std::string utf8 = ToUtf8(latin1);
        EXPECT_EQ(utf8.size(), code < 0x80 ? 1U : 2U) << code;
        EXPECT_EQ(ToLatin1(utf8), latin1) << code;
    }
    EXPECT_EQ(ToUtf8("K\xFC\x63he"), "K\u00FCche");
    EXPECT_EQ(ToUtf8(""), "");
    EXPECT_EQ(ToLatin1(""), "");
}

TEST(EncodedString, replacesEachCharacterThatLatin1Lacks) {
    EXPECT_EQ(ToLatin1("\u0100"), "?");
    EXPECT_EQ(ToLatin1("21 \u20AC, \u00E4"), "21 ?, \xE4");
    EXPECT_EQ(ToLatin1("\U0001F600!"), "?!");
    EXPECT_EQ(ToLatin1("\U0010FFFF"), "?");
    EXPECT_EQ(ToLatin1("a\0b"s), "a\0b"s);
}

class NotUtf8 : public testing::TestWithParam<std::string> {};

TEST_P(NotUtf8, isRefused) {
    EXPECT_EQ(ToLatin1(GetParam()), std::nullopt);
    EXPECT_EQ(ToLatin1("before" + GetParam()), std::nullopt);
    EXPECT_EQ(ToLatin1(GetParam() + "after"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Rfc3629, NotUtf8,
                         testing::Values("\x80", "\xBF",                      // continuation without a start
                                         "\xC3", "\xE2\x82", "\xF0\x9F\x98",  // cut
                                         "\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xF0\x80\x80\xAF",  // overlong
                                         "\xED\xA0\x80", "\xED\xBF\xBF",                              // surrogates
                                         "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",                      // above U+10FFFF
                                         "\xF8\x88\x80\x80\x80", "\xFE", "\xFF", "\xE4"));

TEST(EncodedString, comparesBytes) {
    EXPECT_TRUE(KnxStyleString("a") == KnxStyleString("a"));
    EXPECT_TRUE(KnxStyleString("a") != KnxStyleString("b"));
    EXPECT_TRUE(KnxStyleString() == KnxStyleString(""));
}

TEST(OrnKnxHelper, writesAnIndividualAddressAsAreaLineDevice) {
    using OrnKnxHelper::DecodeIndividualAddressToString;
    EXPECT_EQ(DecodeIndividualAddressToString(0x110A).GetBytes(), "1.1.10");
    EXPECT_EQ(DecodeIndividualAddressToString(0).GetBytes(), "0.0.0");
    EXPECT_EQ(DecodeIndividualAddressToString(0xFFFF).GetBytes(), "15.15.255");
    EXPECT_EQ(DecodeIndividualAddressToString(0xF000).GetBytes(), "15.0.0");
    EXPECT_EQ(DecodeIndividualAddressToString(0xABCD110A).GetBytes(), "1.1.10");
}

}  // namespace
