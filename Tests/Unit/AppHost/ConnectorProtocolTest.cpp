#include "ConnectorProtocol.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using namespace LocalDevice::ConnectorProtocol;

TEST(ConnectorProtocol, TextsKeepTheirBytesInOneLine) {
    const std::string text = "a\nb\rc\\n d\\";

    EXPECT_EQ(Escape(text), "a\\nb\\rc\\\\n d\\\\");
    EXPECT_EQ(Unescape(Escape(text)), text);
}

TEST(ConnectorProtocol, ABackslashAtTheEndStaysOne) {
    EXPECT_EQ(Unescape("a\\"), "a\\");
}

TEST(ConnectorProtocol, ValuesAreParsedAsTheyWereWritten) {
    const std::vector<Value> values{true,
                                    false,
                                    std::numeric_limits<std::int64_t>::min(),
                                    std::int64_t{42},
                                    0.1,
                                    -1e300,
                                    std::numeric_limits<double>::infinity(),
                                    std::string(),
                                    std::string(" two words\n")};
    for (const Value& value : values) {
        EXPECT_EQ(ParseValue(FromValue(value)), value) << FromValue(value);
    }
}

TEST(ConnectorProtocol, ValuesAreWordAndText) {
    EXPECT_EQ(FromValue(true), "boolean 1");
    EXPECT_EQ(FromValue(std::int64_t{-3}), "integer -3");
    EXPECT_EQ(FromValue(21.5), "number 21.5");
    EXPECT_EQ(FromValue(std::string("a b")), "text a b");
}

TEST(ConnectorProtocol, WhatIsNoValueIsNone) {
    for (const char* line : {"", "boolean", "boolean 2", "integer", "integer 1x", "integer 99999999999999999999",
                             "number one", "colour red", "Boolean 1"}) {
        EXPECT_FALSE(ParseValue(line)) << line;
    }
}

TEST(ConnectorProtocol, CosHaveTheirRange) {
    EXPECT_EQ(ParseCo("1"), 1);
    EXPECT_EQ(ParseCo("520"), 520);
    for (const char* text : {"", "0", "521", "-1", "1 ", "x", "70000"}) {
        EXPECT_FALSE(ParseCo(text)) << text;
    }
}

TEST(ConnectorProtocol, DurationsAreWholeMilliseconds) {
    EXPECT_EQ(ParseMilliseconds("0"), std::chrono::milliseconds(0));
    EXPECT_EQ(ParseMilliseconds("60000"), std::chrono::milliseconds(60000));
    for (const char* text : {"", "-1", "1.5", "1 ", "x", "99999999999"}) {
        EXPECT_FALSE(ParseMilliseconds(text)) << text;
    }
}

TEST(ConnectorProtocol, AppValuesSurviveTheRoundTrip) {
    for (const Value& value : {Value(true), Value(std::int64_t{7}), Value(2.5), Value(std::string("text"))}) {
        EXPECT_EQ(ToValue(ToAppValue(value)), value);
    }
}

}  // namespace
