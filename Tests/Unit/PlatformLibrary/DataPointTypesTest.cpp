#include <gtest/gtest.h>

#include <iomanip>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "DataPointCodes.h"
#include "Zandrel/DataPointTypes.h"
#include "Zandrel/ZanValue.h"

namespace {

using namespace DataPointCodes;

std::string Text(const std::string& text) {
    return "5.1:" + text;
}

/// A group value and the value that it stands for, in both directions.
struct Pair {
    std::uint32_t dpt;
    Bytes bytes;
    std::string serialised;
};

std::string Describe(std::uint32_t dpt, const Bytes& bytes) {
    std::ostringstream text;
    text << (dpt >> 16U) << "." << (dpt & 0xFFFFU) << std::hex << std::uppercase << std::setfill('0');
    for (const unsigned byte : bytes) {
        text << " " << std::setw(2) << byte;
    }
    return text.str();
}

void PrintTo(const Pair& pair, std::ostream* stream) {
    *stream << Describe(pair.dpt, pair.bytes);
}

class CanonicalCodes : public testing::TestWithParam<Pair> {};

TEST_P(CanonicalCodes, convertInBothDirections) {
    const auto& [dpt, bytes, serialised] = GetParam();
    EXPECT_EQ(Decode(dpt, bytes), serialised);
    EXPECT_EQ(Encode(dpt, serialised), bytes) << serialised;
}

INSTANTIATE_TEST_SUITE_P(Type2, CanonicalCodes,
                         testing::Values(Pair{Dpt(2, 1), {0}, Text("0")}, Pair{Dpt(2, 1), {1}, Text("1")},
                                         Pair{Dpt(2, 1), {2}, Text("control 0")},
                                         Pair{Dpt(2, 12), {3}, Text("control 1")}));
INSTANTIATE_TEST_SUITE_P(Type3, CanonicalCodes,
                         testing::Values(Pair{Dpt(3, 7), {0x0}, Text("decrease 0")},
                                         Pair{Dpt(3, 7), {0x8}, Text("increase 0")},
                                         Pair{Dpt(3, 8), {0x7}, Text("decrease 7")},
                                         Pair{Dpt(3, 8), {0xB}, Text("increase 3")}));
INSTANTIATE_TEST_SUITE_P(Type4, CanonicalCodes,
                         testing::Values(Pair{Dpt(4, 1), {'A'}, Text("A")}, Pair{Dpt(4, 1), {0x7F}, Text("\x7F")},
                                         Pair{Dpt(4, 1), {0}, Text("")}, Pair{Dpt(4, 2), {0xE4}, Text("\u00E4")},
                                         Pair{Dpt(4, 2), {0xFF}, Text("\u00FF")}, Pair{Dpt(4, 2), {0}, Text("")}));
INSTANTIATE_TEST_SUITE_P(Type6, CanonicalCodes,
                         testing::Values(Pair{Dpt(6, 1), {0x80}, "3.1:-128"}, Pair{Dpt(6, 10), {0xFF}, "3.1:-1"},
                                         Pair{Dpt(6, 10), {0x7F}, "3.1:127"}, Pair{Dpt(6, 20), {0xFC}, "3.1:252"},
                                         Pair{Dpt(6, 20), {0x01}, "3.1:1"}, Pair{Dpt(6, 20), {0x42}, "3.1:66"}));
INSTANTIATE_TEST_SUITE_P(
    Type8, CanonicalCodes,
    testing::Values(Pair{Dpt(8, 1), {0x80, 0x00}, "3.1:-32768"}, Pair{Dpt(8, 2), {0xFF, 0xFF}, "3.1:-1"},
                    Pair{Dpt(8, 3), {0xFF, 0xFF}, "3.1:-10"}, Pair{Dpt(8, 4), {0x7F, 0xFF}, "3.1:3276700"},
                    Pair{Dpt(8, 10), {0x00, 0x01}, "4.1:0.01"}, Pair{Dpt(8, 10), {0x80, 0x00}, "4.1:-327.68"},
                    Pair{Dpt(8, 11), {0x7F, 0xFF}, "3.1:32767"}));
INSTANTIATE_TEST_SUITE_P(Type10, CanonicalCodes,
                         testing::Values(Pair{Dpt(10, 1), {0x00, 0x00, 0x00}, Text("00:00:00")},
                                         Pair{Dpt(10, 1), {0x17, 0x3B, 0x3B}, Text("23:59:59")},
                                         Pair{Dpt(10, 1), {0x2C, 0x22, 0x38}, Text("Mon 12:34:56")},
                                         Pair{Dpt(10, 1), {0xF7, 0x00, 0x01}, Text("Sun 23:00:01")}));
INSTANTIATE_TEST_SUITE_P(Type11, CanonicalCodes,
                         testing::Values(Pair{Dpt(11, 1), {0x01, 0x01, 0x5A}, Text("1990-01-01")},
                                         Pair{Dpt(11, 1), {0x1F, 0x0C, 0x63}, Text("1999-12-31")},
                                         Pair{Dpt(11, 1), {0x01, 0x01, 0x00}, Text("2000-01-01")},
                                         Pair{Dpt(11, 1), {0x1D, 0x02, 0x00}, Text("2000-02-29")},
                                         Pair{Dpt(11, 1), {0x1D, 0x02, 0x5C}, Text("1992-02-29")},
                                         Pair{Dpt(11, 1), {0x1F, 0x0C, 0x59}, Text("2089-12-31")}));
INSTANTIATE_TEST_SUITE_P(Type15, CanonicalCodes,
                         testing::Values(Pair{Dpt(15, 0), {0x12, 0x34, 0x56, 0x43}, Text("123456 accepted index=3")},
                                         Pair{Dpt(15, 0),
                                              {0x99, 0x99, 0x99, 0xFF},
                                              Text("999999 error accepted right-to-left encrypted index=15")},
                                         Pair{Dpt(15, 0), {0x00, 0x00, 0x01, 0x00}, Text("000001 index=0")}));
INSTANTIATE_TEST_SUITE_P(Scenes, CanonicalCodes,
                         testing::Values(Pair{Dpt(17, 1), {0x3F}, "3.1:63"}, Pair{Dpt(18, 1), {0x00}, Text("0")},
                                         Pair{Dpt(18, 1), {0x3F}, Text("63")},
                                         Pair{Dpt(18, 1), {0xBF}, Text("learn 63")},
                                         Pair{Dpt(26, 1), {0x05}, Text("5")},
                                         Pair{Dpt(26, 1), {0x45}, Text("inactive 5")}));
INSTANTIATE_TEST_SUITE_P(
    Type19, CanonicalCodes,
    testing::Values(
        Pair{Dpt(19, 1),
             {126, 11, 21, 0xCC, 34, 56, 0x41, 0x80},
             Text("2026-11-21 12:34:56 Sat workday summertime synchronised")},
        Pair{Dpt(19, 1), {0, 1, 1, 0x00, 0, 0, 0x00, 0x00}, Text("1900-01-01 00:00:00 AnyDay holiday")},
        Pair{Dpt(19, 1), {255, 12, 31, 0x18, 0, 0, 0x24, 0x00}, Text("2155-12-31 24:00:00")},
        Pair{Dpt(19, 1), {0, 2, 29, 0x17, 59, 59, 0x34, 0xC0}, Text("--02-29 23:59:59 synchronised reliable")},
        Pair{Dpt(19, 1), {126, 0, 0, 0x01, 2, 3, 0xAC, 0x00}, Text("2026 01:02:03 fault")},
        Pair{Dpt(19, 1), {126, 11, 21, 0x00, 0, 0, 0x26, 0x00}, Text("2026-11-21")},
        Pair{Dpt(19, 1), {0, 0, 0, 0x0C, 0, 0, 0x3C, 0x00}, Text("- 12:00:00")},
        Pair{Dpt(19, 1), {0, 0, 0, 0xE0, 0, 0, 0x3A, 0x00}, Text("- Sun")},
        Pair{Dpt(19, 1), {0, 0, 0, 0x00, 0, 0, 0x1E, 0x00}, Text("- holiday")},
        Pair{Dpt(19, 1), {0, 0, 0, 0x00, 0, 0, 0x3E, 0x00}, Text("-")}));
INSTANTIATE_TEST_SUITE_P(Sets, CanonicalCodes,
                         testing::Values(Pair{Dpt(20, 102), {0x04}, "3.1:4"}, Pair{Dpt(20, 1), {0xFF}, "3.1:255"},
                                         Pair{Dpt(21, 1), {0x1F}, "3.1:31"}, Pair{Dpt(21, 1010), {0xFF}, "3.1:255"},
                                         Pair{Dpt(22, 1010), {0x80, 0x01}, "3.1:32769"},
                                         Pair{Dpt(22, 1000), {0x00, 0x36}, "3.1:54"},
                                         Pair{Dpt(27, 1), {0xFF, 0xFF, 0x00, 0x01}, "3.1:4294901761"}));
INSTANTIATE_TEST_SUITE_P(Type28, CanonicalCodes,
                         testing::Values(Pair{Dpt(28, 1), {0}, Text("")}, Pair{Dpt(28, 1), {'a', 0}, Text("a")},
                                         Pair{Dpt(28, 1), {0xE2, 0x82, 0xAC, 0}, Text("\u20AC")},
                                         Pair{Dpt(28, 1), {0xF0, 0x9F, 0x92, 0xA1, 0}, Text("\U0001F4A1")}));
INSTANTIATE_TEST_SUITE_P(
    Type29, CanonicalCodes,
    testing::Values(Pair{Dpt(29, 10), {0x80, 0, 0, 0, 0, 0, 0, 0}, "3.1:-9223372036854775808"},
                    Pair{Dpt(29, 10), {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, "3.1:9223372036854775807"},
                    Pair{Dpt(29, 11), {0x00, 0x20, 0, 0, 0, 0, 0, 1}, "3.1:9007199254740993"},
                    Pair{Dpt(29, 12), {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, "3.1:-1"}));
INSTANTIATE_TEST_SUITE_P(
    Colours, CanonicalCodes,
    testing::Values(Pair{Dpt(232, 600), {0xFF, 0x80, 0x0A}, Text("#FF800A")},
                    Pair{Dpt(251, 600), {0xFF, 0x80, 0x0A, 0x01, 0x00, 0x0F}, Text("#FF800A01")},
                    Pair{Dpt(251, 600), {0x00, 0x00, 0x00, 0xFF, 0x00, 0x01}, Text("#------FF")},
                    Pair{Dpt(251, 600), {0x12, 0x34, 0x56, 0x00, 0x00, 0x0E}, Text("#123456--")},
                    Pair{Dpt(251, 600), {0, 0, 0, 0, 0, 0}, Text("#--------")},
                    Pair{Dpt(242, 600), {0xFF, 0xFF, 0x00, 0x00, 0xFF, 0x03}, Text("x=1 y=0 Y=100")},
                    Pair{Dpt(242, 600), {0x50, 0x0D, 0x54, 0x3A, 0x80, 0x03}, Text("x=0.3127 y=0.32902 Y=50")},
                    Pair{Dpt(242, 600), {0x00, 0x01, 0x00, 0x02, 0x00, 0x02}, Text("x=0.00002 y=0.00003")},
                    Pair{Dpt(242, 600), {0, 0, 0, 0, 0x33, 0x01}, Text("Y=20")},
                    Pair{Dpt(242, 600), {0, 0, 0, 0, 0, 0}, Text("")}));
INSTANTIATE_TEST_SUITE_P(
    Type235, CanonicalCodes,
    testing::Values(Pair{Dpt(235, 1), {0x00, 0x00, 0x03, 0xE8, 0x02, 0x00}, Text("energy=1000 tariff=2")},
                    Pair{Dpt(235, 1), {0x80, 0x00, 0x00, 0x00, 0xFE, 0x00}, Text("energy=-2147483648 tariff=254")},
                    Pair{Dpt(235, 1), {0x7F, 0xFF, 0xFF, 0xFF, 0x00, 0x01}, Text("energy=2147483647")},
                    Pair{Dpt(235, 1), {0, 0, 0, 0, 7, 0x02}, Text("tariff=7")},
                    Pair{Dpt(235, 1), {0, 0, 0, 0, 0, 0x03}, Text("")}));

/// A code that decodes, but stands for a value that has another code.
struct Altered {
    std::uint32_t dpt;
    Bytes bytes;
    std::string text;
    Bytes canonical;
};

void PrintTo(const Altered& altered, std::ostream* stream) {
    *stream << Describe(altered.dpt, altered.bytes);
}

class AlteredCodes : public testing::TestWithParam<Altered> {};

TEST_P(AlteredCodes, comeBackAsTheCanonicalOne) {
    const auto& [dpt, bytes, text, canonical] = GetParam();
    EXPECT_EQ(Decode(dpt, bytes), Text(text));
    EXPECT_EQ(Encode(dpt, Text(text)), canonical);
}

INSTANTIATE_TEST_SUITE_P(
    AbsentFields, AlteredCodes,
    testing::Values(
        Altered{
            Dpt(19, 1), {126, 11, 21, 0x0C, 0, 0, 0x34, 0x00}, "--11-21 12:00:00", {0, 11, 21, 0x0C, 0, 0, 0x34, 0}},
        Altered{Dpt(19, 1), {0, 2, 30, 0x0C, 0, 0, 0x3C, 0x00}, "- 12:00:00", {0, 0, 0, 0x0C, 0, 0, 0x3C, 0}},
        Altered{Dpt(19, 1), {126, 11, 21, 0x1F, 63, 63, 0x26, 0x00}, "2026-11-21", {126, 11, 21, 0, 0, 0, 0x26, 0}},
        Altered{Dpt(19, 1), {126, 11, 21, 0xE0, 0, 0, 0x66, 0x00}, "2026-11-21", {126, 11, 21, 0, 0, 0, 0x26, 0}},
        Altered{Dpt(235, 1), {1, 2, 3, 4, 7, 0x02}, "tariff=7", {0, 0, 0, 0, 7, 0x02}},
        Altered{Dpt(235, 1), {0, 0, 0, 1, 255, 0x01}, "energy=1", {0, 0, 0, 1, 0, 0x01}},
        Altered{Dpt(242, 600), {1, 2, 3, 4, 0x33, 0x01}, "Y=20", {0, 0, 0, 0, 0x33, 0x01}},
        Altered{Dpt(251, 600), {1, 2, 3, 4, 0, 0x01}, "#------04", {0, 0, 0, 4, 0, 0x01}}));

struct NoValue {
    std::uint32_t dpt;
    Bytes bytes;
};

void PrintTo(const NoValue& code, std::ostream* stream) {
    *stream << Describe(code.dpt, code.bytes);
}

class CodesWithoutValue : public testing::TestWithParam<NoValue> {};

TEST_P(CodesWithoutValue, giveNone) {
    EXPECT_EQ(Decode(GetParam().dpt, GetParam().bytes), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    ReservedBits, CodesWithoutValue,
    testing::Values(NoValue{Dpt(2, 1), {4}}, NoValue{Dpt(3, 7), {0x10}}, NoValue{Dpt(10, 1), {0, 0x40, 0}},
                    NoValue{Dpt(10, 1), {0, 0, 0x80}}, NoValue{Dpt(11, 1), {0x21, 1, 0}},
                    NoValue{Dpt(11, 1), {1, 0x11, 0}}, NoValue{Dpt(11, 1), {1, 1, 0x80}}, NoValue{Dpt(17, 1), {0x40}},
                    NoValue{Dpt(17, 1), {0x80}}, NoValue{Dpt(18, 1), {0x40}}, NoValue{Dpt(18, 1), {0xC0}},
                    NoValue{Dpt(19, 1), {126, 0x1B, 21, 0, 0, 0, 0, 0}},
                    NoValue{Dpt(19, 1), {126, 11, 53, 0, 0, 0, 0, 0}},
                    NoValue{Dpt(19, 1), {126, 11, 21, 0, 0x40, 0, 0, 0}},
                    NoValue{Dpt(19, 1), {126, 11, 21, 0, 0, 0, 0, 0x20}}, NoValue{Dpt(21, 1), {0x20}},
                    NoValue{Dpt(21, 2), {0x08}}, NoValue{Dpt(5, 6), {255}}, NoValue{Dpt(22, 100), {1, 0}},
                    NoValue{Dpt(22, 101), {0x80, 0}}, NoValue{Dpt(22, 1000), {0, 1}}, NoValue{Dpt(26, 1), {0x80}},
                    NoValue{Dpt(235, 1), {0, 0, 0, 0, 0, 4}}, NoValue{Dpt(242, 600), {0, 0, 0, 0, 0, 4}},
                    NoValue{Dpt(251, 600), {0, 0, 0, 0, 1, 0}}, NoValue{Dpt(251, 600), {0, 0, 0, 0, 0, 0x10}}));
INSTANTIATE_TEST_SUITE_P(
    OutOfRange, CodesWithoutValue,
    testing::Values(NoValue{Dpt(4, 1), {0x80}}, NoValue{Dpt(6, 20), {0x00}}, NoValue{Dpt(6, 20), {0x03}},
                    NoValue{Dpt(6, 20), {0xFF}}, NoValue{Dpt(10, 1), {24, 0, 0}}, NoValue{Dpt(10, 1), {0, 60, 0}},
                    NoValue{Dpt(10, 1), {0, 0, 60}}, NoValue{Dpt(11, 1), {0, 1, 0}}, NoValue{Dpt(11, 1), {1, 0, 0}},
                    NoValue{Dpt(11, 1), {1, 13, 0}}, NoValue{Dpt(11, 1), {1, 1, 100}}, NoValue{Dpt(11, 1), {29, 2, 1}},
                    NoValue{Dpt(11, 1), {31, 4, 1}}, NoValue{Dpt(15, 0), {0xA0, 0, 0, 0}},
                    NoValue{Dpt(15, 0), {0, 0, 0x0A, 0}}, NoValue{Dpt(19, 1), {126, 2, 29, 0, 0, 0, 0, 0}},
                    NoValue{Dpt(19, 1), {126, 11, 21, 24, 0, 1, 0, 0}},
                    NoValue{Dpt(19, 1), {126, 11, 21, 25, 0, 0, 0, 0}}, NoValue{Dpt(19, 1), {0, 0, 0, 0, 0, 0, 0, 0}},
                    NoValue{Dpt(19, 1), {0, 2, 30, 0, 0, 0, 0x10, 0}}, NoValue{Dpt(235, 1), {0, 0, 0, 0, 255, 0}}));
INSTANTIATE_TEST_SUITE_P(NotUtf8, CodesWithoutValue,
                         testing::Values(NoValue{Dpt(28, 1), {}}, NoValue{Dpt(28, 1), {'a'}},
                                         NoValue{Dpt(28, 1), {0, 0}}, NoValue{Dpt(28, 1), {'a', 0, 'b', 0}},
                                         NoValue{Dpt(28, 1), {0xE2, 0x82, 0}}, NoValue{Dpt(28, 1), {0xC0, 0x80, 0}},
                                         NoValue{Dpt(28, 1), {0xED, 0xA0, 0x80, 0}},
                                         NoValue{Dpt(28, 1), {0xF4, 0x90, 0x80, 0x80, 0}},
                                         NoValue{Dpt(28, 1), {0x80, 0}}));

struct Refused {
    std::uint32_t dpt;
    std::string serialised;
};

void PrintTo(const Refused& value, std::ostream* stream) {
    *stream << Describe(value.dpt, {value.serialised.begin(), value.serialised.end()});
}

class ValuesWithoutCode : public testing::TestWithParam<Refused> {};

TEST_P(ValuesWithoutCode, giveNone) {
    EXPECT_EQ(Encode(GetParam().dpt, GetParam().serialised), std::nullopt) << GetParam().serialised;
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, ValuesWithoutCode,
    testing::Values(Refused{Dpt(6, 1), "3.1:-129"}, Refused{Dpt(6, 1), "3.1:128"}, Refused{Dpt(6, 1), "4.1:nan"},
                    Refused{Dpt(6, 20), "3.1:-1"}, Refused{Dpt(6, 20), "3.1:0"}, Refused{Dpt(6, 20), "3.1:256"},
                    Refused{Dpt(8, 1), "3.1:32768"}, Refused{Dpt(8, 1), "3.1:-32769"}, Refused{Dpt(8, 1), "4.1:0.5"},
                    Refused{Dpt(8, 10), "4.1:327.68"}, Refused{Dpt(8, 10), "4.1:nan"}, Refused{Dpt(8, 10), "4.1:inf"},
                    Refused{Dpt(8, 3), "4.1:-inf"}, Refused{Dpt(17, 1), "3.1:64"}, Refused{Dpt(17, 1), "3.1:-1"},
                    Refused{Dpt(20, 1), "3.1:256"}, Refused{Dpt(20, 1), "5.1:auto"}, Refused{Dpt(21, 1), "3.1:32"},
                    Refused{Dpt(21, 1010), "3.1:256"}, Refused{Dpt(5, 6), "3.1:255"}, Refused{Dpt(22, 100), "3.1:256"},
                    Refused{Dpt(22, 101), "3.1:32768"}, Refused{Dpt(22, 1), "3.1:65536"},
                    Refused{Dpt(27, 1), "3.1:4294967296"}, Refused{Dpt(29, 10), "4.1:9223372036854775808"},
                    Refused{Dpt(29, 10), "4.1:nan"}, Refused{Dpt(29, 10), "5.1:9223372036854775808"}));
INSTANTIATE_TEST_SUITE_P(
    Texts, ValuesWithoutCode,
    testing::Values(Refused{Dpt(2, 1), Text("")}, Refused{Dpt(2, 1), Text("2")}, Refused{Dpt(2, 1), Text("control")},
                    Refused{Dpt(2, 1), Text("control  1")}, Refused{Dpt(2, 1), Text("control 1 ")},
                    Refused{Dpt(2, 1), Text(" 1")}, Refused{Dpt(2, 1), "4.1:0.5"}, Refused{Dpt(3, 7), Text("3")},
                    Refused{Dpt(3, 7), Text("increase 8")}, Refused{Dpt(3, 7), Text("increase -0")},
                    Refused{Dpt(3, 7), Text("Increase 1")}, Refused{Dpt(4, 1), Text("\u00E4")},
                    Refused{Dpt(4, 2), Text("ab")}, Refused{Dpt(4, 2), Text("\u20AC")},
                    Refused{Dpt(4, 2), Text("\xE4")}, Refused{Dpt(4, 2), Text(std::string(1, '\0'))},
                    Refused{Dpt(18, 1), Text("64")}, Refused{Dpt(18, 1), Text("learn -1")},
                    Refused{Dpt(26, 1), Text("active 5")}));
INSTANTIATE_TEST_SUITE_P(
    Times, ValuesWithoutCode,
    testing::Values(Refused{Dpt(10, 1), Text("24:00:00")}, Refused{Dpt(10, 1), Text("12:60:00")},
                    Refused{Dpt(10, 1), Text("12:00:60")}, Refused{Dpt(10, 1), Text("12:00")},
                    Refused{Dpt(10, 1), Text("1:00:00")}, Refused{Dpt(10, 1), Text("Monday 12:00:00")},
                    Refused{Dpt(10, 1), Text("-1:00:00")}, Refused{Dpt(10, 1), Text("-0:-0:-0")},
                    Refused{Dpt(11, 1), Text("1989-12-31")}, Refused{Dpt(11, 1), Text("2090-01-01")},
                    Refused{Dpt(11, 1), Text("2001-02-29")}, Refused{Dpt(11, 1), Text("2000-00-01")},
                    Refused{Dpt(11, 1), Text("2000-1-1")}, Refused{Dpt(11, 1), Text("20000101")},
                    Refused{Dpt(19, 1), Text("")}, Refused{Dpt(19, 1), Text("1899-12-31")},
                    Refused{Dpt(19, 1), Text("2156-01-01")}, Refused{Dpt(19, 1), Text("2026-02-29")},
                    Refused{Dpt(19, 1), Text("2026-11 12:00:00")}, Refused{Dpt(19, 1), Text("--02-30")},
                    Refused{Dpt(19, 1), Text("2026-11-21 24:00:01")}, Refused{Dpt(19, 1), Text("2026-11-21 12:00")},
                    Refused{Dpt(19, 1), Text("2026-11-21 workday Sat")},
                    Refused{Dpt(19, 1), Text("2026-11-21 fault fault")}, Refused{Dpt(19, 1), Text("2026-11-21 ")}));
INSTANTIATE_TEST_SUITE_P(
    Records, ValuesWithoutCode,
    testing::Values(Refused{Dpt(15, 0), Text("12345 index=0")}, Refused{Dpt(15, 0), Text("1234567 index=0")},
                    Refused{Dpt(15, 0), Text("12345A index=0")}, Refused{Dpt(15, 0), Text("123456 index=16")},
                    Refused{Dpt(15, 0), Text("123456")}, Refused{Dpt(15, 0), Text("123456 encrypted error index=0")},
                    Refused{Dpt(232, 600), Text("FF800A")}, Refused{Dpt(232, 600), Text("#FF80")},
                    Refused{Dpt(232, 600), Text("#FF800G")}, Refused{Dpt(232, 600), Text("#FF800A0")},
                    Refused{Dpt(232, 600), Text("#--800A")}, Refused{Dpt(251, 600), Text("#FF800A")},
                    Refused{Dpt(251, 600), Text("#FF800A-")}, Refused{Dpt(235, 1), Text("energy=2147483648")},
                    Refused{Dpt(235, 1), Text("tariff=255")}, Refused{Dpt(235, 1), Text("tariff=1 energy=1")},
                    Refused{Dpt(235, 1), Text("energy=1.5")}, Refused{Dpt(235, 1), Text("energy=")},
                    Refused{Dpt(242, 600), Text("x=0.5")}, Refused{Dpt(242, 600), Text("y=0.5")},
                    Refused{Dpt(242, 600), Text("x=1.1 y=0")}, Refused{Dpt(242, 600), Text("x=nan y=0")},
                    Refused{Dpt(242, 600), Text("x=0 y=inf")}, Refused{Dpt(242, 600), Text("Y=-1")},
                    Refused{Dpt(242, 600), Text("Y=101")}));
INSTANTIATE_TEST_SUITE_P(Utf8, ValuesWithoutCode,
                         testing::Values(Refused{Dpt(28, 1), Text("\xE2\x82")}, Refused{Dpt(28, 1), Text("\xFF")},
                                         Refused{Dpt(28, 1), Text(std::string("a\0b", 3))},
                                         Refused{Dpt(28, 1), Text(std::string(252, 'a'))}));

TEST(DataPointTypes, takeTheValueWithoutContentAsNone) {
    for (const std::uint32_t number :
         {2, 3, 4, 6, 8, 10, 11, 15, 17, 18, 19, 20, 21, 22, 26, 27, 28, 29, 232, 235, 242, 251}) {
        EXPECT_EQ(Encode(Dpt(number, 1), "1.1:"), std::nullopt) << number;
    }
}

TEST(DataPointTypes, takeWhatMeansTheSame) {
    EXPECT_EQ(Encode(Dpt(2, 1), "2.1:1"), Bytes{1});
    EXPECT_EQ(Encode(Dpt(18, 1), "3.1:5"), Bytes{5});
    EXPECT_EQ(Encode(Dpt(20, 102), "5.1:4"), Bytes{4});
    EXPECT_EQ(Encode(Dpt(4, 1), "3.1:7"), Bytes{'7'});
    EXPECT_EQ(Encode(Dpt(28, 1), "3.1:-42"), (Bytes{'-', '4', '2', 0}));
    EXPECT_EQ(Encode(Dpt(232, 600), Text("#ff800a")), (Bytes{0xFF, 0x80, 0x0A}));
    EXPECT_EQ(Encode(Dpt(242, 600), Text("x=0.3127 y=0.329 Y=50")), (Bytes{0x50, 0x0D, 0x54, 0x39, 0x80, 0x03}));
    EXPECT_EQ(Encode(Dpt(8, 10), "4.1:0.014"), BigEndian(1, 2));
    EXPECT_EQ(Encode(Dpt(8, 3), "3.1:-14"), BigEndian(0xFFFF, 2));
}

TEST(DataPointTypes, refuseEveryOtherLength) {
    for (const std::uint32_t number :
         {2, 3, 4, 6, 8, 10, 11, 15, 17, 18, 19, 20, 21, 22, 26, 27, 29, 232, 235, 242, 251}) {
        const std::uint32_t dpt = Dpt(number, 0);
        const auto* const type = Zandrel::FindDataPointType(dpt);
        const std::string declared = std::to_string(static_cast<unsigned>(type->type)) + ".1:";
        Bytes bytes = Encode(dpt, declared + type->initial).value();
        for (std::size_t length = 0; length <= 20; ++length) {
            bytes.resize(length > type->size ? length : type->size);
            EXPECT_EQ(Decode(dpt, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)}).has_value(),
                      length == type->size)
                << number << ", " << length;
        }
    }
}

TEST(DataPointTypes, keepUtf8TextsOfEveryLength) {
    for (std::size_t length = 0; length <= 251; ++length) {
        Bytes bytes(length, 'x');
        bytes.push_back(0);
        EXPECT_EQ(FateOf(Dpt(28, 1), bytes), Fate::Canonical) << length;
    }
    Bytes tooLong(252, 'x');
    tooLong.push_back(0);
    EXPECT_EQ(FateOf(Dpt(28, 1), tooLong), Fate::NoValue);
}

TEST(DataPointTypes, keepRandomTextsAndNumbers) {
    const auto seed = std::random_device{}();
    std::cout << "seed " << seed << '\n';
    std::mt19937_64 random(seed);
    for (int i = 0; i < 20'000; ++i) {
        const std::uint64_t number = random();
        ASSERT_EQ(FateOf(Dpt(29, 10), BigEndian(number, 8)), Fate::Canonical) << number;
        ASSERT_EQ(FateOf(Dpt(27, 1), BigEndian(number, 4)), Fate::Canonical) << number;
        ASSERT_EQ(FateOf(Dpt(232, 600), BigEndian(number, 3)), Fate::Canonical) << number;
        Bytes text(static_cast<std::size_t>(random() % 30));
        for (auto& byte : text) {
            byte = static_cast<std::uint8_t>(random());
        }
        text.push_back(0);
        ASSERT_NE(FateOf(Dpt(28, 1), text), Fate::Altered) << "seed " << seed << ", " << i;
    }
}

/// Whatever a client writes, it has a code that gives its value back, or none.
TEST(DataPointTypes, surviveTextsOfAnyKind) {
    const auto seed = std::random_device{}();
    std::cout << "seed " << seed << '\n';
    std::mt19937_64 random(seed);
    const std::string alphabet = " -:#=.0123456789ABCDEFabefinrxyYMSTtudghcolwkp";
    for (const std::uint32_t number : {2, 3, 4, 10, 11, 15, 18, 19, 26, 28, 232, 235, 242, 251}) {
        for (int i = 0; i < 5'000; ++i) {
            std::string text = Zandrel::FindDataPointType(Dpt(number, 1))->initial;
            for (std::uint64_t change = random() % 4; change > 0; --change) {
                const auto place = static_cast<std::ptrdiff_t>(random() % (text.size() + 1));
                if (random() % 2 == 0 && static_cast<std::size_t>(place) < text.size()) {
                    text.erase(text.begin() + place);
                } else {
                    text.insert(text.begin() + place, alphabet[static_cast<std::size_t>(random() % alphabet.size())]);
                }
            }
            if (const auto bytes = Encode(Dpt(number, 1), Text(text))) {
                ASSERT_EQ(FateOf(Dpt(number, 1), *bytes), Fate::Canonical)
                    << number << " '" << text << "', seed " << seed;
            }
        }
    }
}

}  // namespace
