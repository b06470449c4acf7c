#include "LenientReader.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>

#include "RequestError.h"

namespace {

using LocalDevice::LenientReader;
using LocalDevice::ParseLeniently;
using LocalDevice::RequestError;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::string_view Escaped("\"\\/\b\f\n\r\t");

/// As a configuration document is written: eight characters after a backslash, everything else as it is.
std::string WriteString(std::string_view text) {
    std::string written = "\"";
    for (const char character : text) {
        if (Escaped.find(character) != std::string_view::npos) {
            written += '\\';
        }
        written += character;
    }
    return written + '"';
}

std::string Latin1ToUtf8(unsigned byte) {
    if (byte < 0x80) {
        return {static_cast<char>(byte)};
    }
    return {static_cast<char>(0xC0U | (byte >> 6U)), static_cast<char>(0x80U | (byte & 0x3FU))};
}

std::string ReasonOf(std::string_view bytes) {
    try {
        ParseLeniently(bytes);
    } catch (const RequestError& error) {
        return error.what();
    }
    return {};
}

TEST(LenientReaderTest, EveryByteValueArrivesInAName) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::string name = std::string("a") + static_cast<char>(byte) + "b";
        const json document = ParseLeniently("{" + WriteString("name") + ":" + WriteString(name) + "}");
        EXPECT_EQ(document["name"].get<std::string>(), "a" + Latin1ToUtf8(byte) + "b") << "byte " << byte;
    }
}

TEST(LenientReaderTest, AllByteValuesArriveInOneValue) {
    std::string value;
    std::string expected;
    for (unsigned byte = 0; byte < 256; ++byte) {
        value += static_cast<char>(byte);
        expected += Latin1ToUtf8(byte);
    }
    EXPECT_EQ(ParseLeniently("[" + WriteString(value) + "]")[0].get<std::string>(), expected);
}

TEST(LenientReaderTest, EveryByteValueMayStandUnescapedInAKey) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (byte == '"' || byte == '\\') {
            continue;
        }
        const json document = ParseLeniently(std::string("{\"") + static_cast<char>(byte) + "\":1}");
        EXPECT_EQ(document[Latin1ToUtf8(byte)], 1) << "byte " << byte;
    }
}

TEST(LenientReaderTest, EveryPairOfBytesArrives) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second)};
            const bool isUtf8 =
                (first < 0x80 && second < 0x80) || (first >= 0xC2 && first <= 0xDF && second >= 0x80 && second <= 0xBF);
            const std::string expected = isUtf8 ? text : Latin1ToUtf8(first) + Latin1ToUtf8(second);
            ASSERT_EQ(ParseLeniently(WriteString(text)).get<std::string>(), expected)
                << "bytes " << first << ' ' << second;
        }
    }
}

TEST(LenientReaderTest, AnyBytesOfAStringArriveAsUtf8OrAsLatin1) {
    std::mt19937 random(1);
    std::uniform_int_distribution<unsigned> anyByte(0, 255);
    std::uniform_int_distribution<unsigned> highByte(0x80, 0xFF);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        std::string latin1;
        for (int i = 0; i < 5; ++i) {
            const unsigned byte = round % 2 == 0 ? anyByte(random) : highByte(random);
            text += static_cast<char>(byte);
            latin1 += Latin1ToUtf8(byte);
        }
        ASSERT_THAT(ParseLeniently(WriteString(text)).get<std::string>(), testing::AnyOf(text, latin1));
    }
}

TEST(LenientReaderTest, Utf8StaysAsItIs) {
    const std::string text = u8"K\u00FCche \u20AC \U0001F4A1";
    EXPECT_EQ(ParseLeniently(WriteString(text)).get<std::string>(), text);
}

TEST(LenientReaderTest, OneLatin1StringLeavesTheOthersAlone) {
    const json document = ParseLeniently(
        "[\"K\xFC"
        "che\",\"K\xC3\xBC"
        "che\"]");
    EXPECT_EQ(document[0], document[1]);
}

TEST(LenientReaderTest, EscapesOfJsonKeepTheirMeaning) {
    EXPECT_EQ(ParseLeniently(R"("\n\t\b\f\r\"\\\/\u00e9\ud83d\ude00")").get<std::string>(),
              u8"\n\t\b\f\r\"\\/\u00E9\U0001F600");
}

TEST(LenientReaderTest, ABackslashBeforeAnEscapedBackslashIsNoEscapeOfTheQuote) {
    EXPECT_EQ(ParseLeniently(R"(["a\\","b"])"), json({"a\\", "b"}));
}

TEST(LenientReaderTest, BytesOutsideOfStringsAreLeftToTheParser) {
    EXPECT_EQ(LenientReader::ToJson(" {\"a\" :\t[1,\n2]}\r"), " {\"a\" :\t[1,\n2]}\r");
}

TEST(LenientReaderTest, RefusesANulOutsideOfStrings) {
    EXPECT_EQ(ReasonOf(std::string_view("{}\0{}", 5)), "not JSON: a NUL outside of strings, at byte 2");
}

TEST(LenientReaderTest, RefusesAStringWithoutEnd) {
    EXPECT_EQ(ReasonOf(R"({"a":"b\"})"), "not JSON: the string at byte 5 does not end");
    EXPECT_EQ(ReasonOf("\"a\\"), "not JSON: the string at byte 0 does not end");
}

TEST(LenientReaderTest, AcceptsTheDeepestNestingAndRefusesOneMore) {
    const std::string deepest = std::string(LenientReader::MaximumDepth, '[') + std::string(64, ']');
    EXPECT_EQ(ReasonOf(deepest), "");
    EXPECT_EQ(ReasonOf("[" + deepest + "]"), "nested deeper than 64, at byte 64");
    EXPECT_EQ(ReasonOf(std::string(60000, '[')), "nested deeper than 64, at byte 64");
    EXPECT_THAT(ReasonOf(std::string(60000, '{')), HasSubstr("nested deeper than 64"));
}

TEST(LenientReaderTest, BracketsWithinStringsDoNotNest) {
    EXPECT_EQ(ReasonOf("\"" + std::string(1000, '[') + "\""), "");
}

TEST(LenientReaderTest, ClosedBracketsDoNotCount) {
    std::string flat = "[[]";
    for (int i = 0; i < 1000; ++i) {
        flat += ",[]";
    }
    EXPECT_EQ(ReasonOf(flat + "]"), "");
}

TEST(LenientReaderTest, SaysWhereAFrameStopsBeingJson) {
    EXPECT_THAT(ReasonOf(R"({"a":})"), StartsWith("not JSON: parse error at line 1, column 6: syntax error"));
    EXPECT_THAT(ReasonOf(""), StartsWith("not JSON: parse error at line 1, column 1"));
    EXPECT_THAT(ReasonOf("{} {}"), StartsWith("not JSON: parse error at line 1, column 4"));
    EXPECT_THAT(ReasonOf("]"), StartsWith("not JSON: "));
    EXPECT_THAT(ReasonOf("1e999"), StartsWith("not JSON: number overflow"));
    EXPECT_THAT(ReasonOf(R"("\q")"), StartsWith("not JSON: "));
    EXPECT_THAT(ReasonOf(R"("\ud800")"), StartsWith("not JSON: "));
}

TEST(LenientReaderTest, ComplaintsStayShort) {
    EXPECT_LT(ReasonOf("{\"a\":1 \"" + std::string(100000, 'x') + "\"}").size(), 300U);
}

TEST(LenientReaderTest, SurvivesEveryCutAndEveryChangedByte) {
    const std::string document =
        R"({"devices":[{"id":1,"name":"a\"b","channels":[{"id":2,"datapoints":[{"id":3}]}]}],"x":[1.5e3,null,true]})";
    for (std::size_t length = 0; length < document.size(); ++length) {
        EXPECT_NE(ReasonOf(std::string_view(document).substr(0, length)), "") << "cut at " << length;
    }
    for (std::size_t i = 0; i < document.size(); ++i) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            std::string changed = document;
            changed[i] = static_cast<char>(byte);
            ReasonOf(changed);  // an error or none, but nothing worse
        }
    }
}

TEST(LenientReaderTest, SurvivesRandomBytes) {
    std::mt19937 random(2);
    using std::string_literals::operator""s;
    const std::string alphabet = "{}[]\",:\\/u0123456789abcdefnulltrue \n\x00\xC3\xBC\xFF"s;
    std::uniform_int_distribution<std::size_t> any(0, alphabet.size() - 1);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (int i = 0; i < 40; ++i) {
            text += alphabet[any(random)];
        }
        ReasonOf(text);
    }
}

}  // namespace
