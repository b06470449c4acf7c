#include "Zandrel/GroupValueConversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Zandrel;
using KnxStack::GroupValue;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t Dpt(std::uint32_t mainNumber, std::uint32_t subNumber) {
    return mainNumber << 16U | subNumber;
}

std::optional<std::string> Decode(std::uint32_t dpt, Bytes bytes) {
    const auto value = GroupValueToZanValue(GroupValue(std::move(bytes)), dpt);
    return value ? std::optional(value->Serialize()) : std::nullopt;
}

std::optional<Bytes> Encode(std::uint32_t dpt, const ZANVALUE& value) {
    const auto group = ZanValueToGroupValue(value, dpt);
    return group ? std::optional(group->GetBytes()) : std::nullopt;
}

/// Through the device stack's serialised form and back.
std::optional<Bytes> RoundTrip(std::uint32_t dpt, const Bytes& bytes) {
    const auto serialised = Decode(dpt, bytes);
    return serialised ? Encode(dpt, ZANVALUE::Deserialize(*serialised)) : std::nullopt;
}

Bytes BigEndian(std::uint64_t number, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = size; i-- > 0; number >>= 8U) {
        bytes[i] = static_cast<std::uint8_t>(number);
    }
    return bytes;
}

Bytes Padded(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize(14);
    return bytes;
}

/// Group values and the values that they stand for, in both directions.
struct Pair {
    std::uint32_t dpt;
    Bytes bytes;
    std::string serialised;
};

class CanonicalValues : public testing::TestWithParam<Pair> {};

TEST_P(CanonicalValues, convertInBothDirections) {
    const auto& [dpt, bytes, serialised] = GetParam();
    EXPECT_EQ(Decode(dpt, bytes), serialised);
    EXPECT_EQ(Encode(dpt, ZANVALUE::Deserialize(serialised)), bytes) << serialised;
}

INSTANTIATE_TEST_SUITE_P(Type1, CanonicalValues,
                         testing::Values(Pair{Dpt(1, 1), {0}, "2.1:0"}, Pair{Dpt(1, 1), {1}, "2.1:1"},
                                         Pair{Dpt(1, 0), {1}, "2.1:1"}, Pair{Dpt(1, 65535), {1}, "2.1:1"}));
INSTANTIATE_TEST_SUITE_P(Type5, CanonicalValues,
                         testing::Values(Pair{Dpt(5, 1), {0x00}, "4.1:0"}, Pair{Dpt(5, 1), {0xFF}, "4.1:100"},
                                         Pair{Dpt(5, 1), {0x33}, "4.1:20"},
                                         Pair{Dpt(5, 1), {0x01}, "4.1:0.39215686274509803"},
                                         Pair{Dpt(5, 3), {0xFF}, "4.1:360"}, Pair{Dpt(5, 3), {0x55}, "4.1:120"},
                                         Pair{Dpt(5, 4), {0xFF}, "3.1:255"}, Pair{Dpt(5, 10), {0x32}, "3.1:50"},
                                         Pair{Dpt(5, 0), {0x00}, "3.1:0"}));
INSTANTIATE_TEST_SUITE_P(
    Type7, CanonicalValues,
    testing::Values(Pair{Dpt(7, 1), {0x12, 0x34}, "3.1:4660"}, Pair{Dpt(7, 2), {0xFF, 0xFF}, "3.1:65535"},
                    Pair{Dpt(7, 3), {0x00, 0x01}, "3.1:10"}, Pair{Dpt(7, 3), {0xFF, 0xFF}, "3.1:655350"},
                    Pair{Dpt(7, 4), {0x00, 0x01}, "3.1:100"}, Pair{Dpt(7, 4), {0xFF, 0xFF}, "3.1:6553500"}));
// Values that other KNX implementations publish, and the ends of the range.
INSTANTIATE_TEST_SUITE_P(
    Type9, CanonicalValues,
    testing::Values(Pair{Dpt(9, 1), {0x00, 0x00}, "4.1:0"}, Pair{Dpt(9, 1), {0x8A, 0x24}, "4.1:-30"},
                    Pair{Dpt(9, 1), {0x06, 0xA0}, "4.1:16.96"}, Pair{Dpt(9, 1), {0x0C, 0x1A}, "4.1:21"},
                    Pair{Dpt(9, 1), {0x2E, 0x1A}, "4.1:499.84"}, Pair{Dpt(9, 1), {0x2E, 0x1B}, "4.1:500.16"},
                    Pair{Dpt(9, 1), {0x84, 0x18}, "4.1:-10"}, Pair{Dpt(9, 1), {0xB1, 0xE6}, "4.1:-999.68"},
                    Pair{Dpt(9, 1), {0xB1, 0xE5}, "4.1:-1000.32"}, Pair{Dpt(9, 4), {0x00, 0x01}, "4.1:0.01"},
                    Pair{Dpt(9, 4), {0x87, 0xFF}, "4.1:-0.01"}, Pair{Dpt(9, 4), {0x0C, 0x00}, "4.1:20.48"},
                    Pair{Dpt(9, 4), {0x80, 0x00}, "4.1:-20.48"}, Pair{Dpt(9, 4), {0x03, 0xE8}, "4.1:10"},
                    Pair{Dpt(9, 4), {0x7F, 0xFE}, "4.1:670433.28"}, Pair{Dpt(9, 4), {0xF8, 0x00}, "4.1:-671088.64"},
                    Pair{Dpt(9, 0), {0xF8, 0x01}, "4.1:-670760.96"}));
INSTANTIATE_TEST_SUITE_P(Type12And13, CanonicalValues,
                         testing::Values(Pair{Dpt(12, 1), {0, 0, 0, 0}, "3.1:0"},
                                         Pair{Dpt(12, 1), {0x7F, 0xFF, 0xFF, 0xFF}, "3.1:2147483647"},
                                         Pair{Dpt(12, 1), {0x80, 0x00, 0x00, 0x00}, "3.1:2147483648"},
                                         Pair{Dpt(12, 1), {0xFF, 0xFF, 0xFF, 0xFF}, "3.1:4294967295"},
                                         Pair{Dpt(12, 1), {0x01, 0x02, 0x03, 0x04}, "3.1:16909060"},
                                         Pair{Dpt(13, 1), {0xFF, 0xFF, 0xFF, 0xFF}, "3.1:-1"},
                                         Pair{Dpt(13, 1), {0x80, 0x00, 0x00, 0x00}, "3.1:-2147483648"},
                                         Pair{Dpt(13, 10), {0x7F, 0xFF, 0xFF, 0xFF}, "3.1:2147483647"}));
INSTANTIATE_TEST_SUITE_P(Type14, CanonicalValues,
                         testing::Values(Pair{Dpt(14, 56), {0x43, 0xC6, 0x80, 0x00}, "4.2:397"},
                                         Pair{Dpt(14, 56), {0x42, 0xEF, 0x00, 0x00}, "4.2:119.5"},
                                         Pair{Dpt(14, 57), {0x3F, 0x71, 0xEB, 0x86}, "4.2:0.94500005"},
                                         Pair{Dpt(14, 27), {0x43, 0x65, 0xE3, 0xD7}, "4.2:229.89"},
                                         Pair{Dpt(14, 0), {0x00, 0x00, 0x00, 0x00}, "4.2:0"},
                                         Pair{Dpt(14, 0), {0x80, 0x00, 0x00, 0x00}, "4.2:-0"},
                                         Pair{Dpt(14, 0), {0x7F, 0x80, 0x00, 0x00}, "4.2:inf"},
                                         Pair{Dpt(14, 0), {0xFF, 0x80, 0x00, 0x00}, "4.2:-inf"},
                                         Pair{Dpt(14, 0), {0x7F, 0xC0, 0x00, 0x00}, "4.2:nan"},
                                         Pair{Dpt(14, 0), {0x7F, 0x80, 0x00, 0x01}, "4.2:nan(0x7f800001)"},
                                         Pair{Dpt(14, 0), {0xFF, 0xFF, 0xFF, 0xFF}, "4.2:nan(0xffffffff)"},
                                         Pair{Dpt(14, 0), {0x00, 0x00, 0x00, 0x01}, "4.2:1e-45"}));
INSTANTIATE_TEST_SUITE_P(
    Type16, CanonicalValues,
    testing::Values(Pair{Dpt(16, 0), Padded(""), "5.1:"}, Pair{Dpt(16, 0), Padded("KNX is OK"), "5.1:KNX is OK"},
                    Pair{Dpt(16, 0), Padded("AbCdEfGhIjKlMn"), "5.1:AbCdEfGhIjKlMn"},
                    Pair{Dpt(16, 1), Padded("Ganzes\nFenster"), "5.1:Ganzes\nFenster"},
                    Pair{Dpt(16, 1), Padded("K\xFC\x63he 21\xB0"), "5.1:K\u00FCche 21\u00B0"},
                    Pair{Dpt(16, 1), Padded("\xE0\xE1\xE2\xE3\xE5\xE6\xE7\xE8\xE9\xEA\xEB\xEC\xED\xEE"),
                         "5.1:\u00E0\u00E1\u00E2\u00E3\u00E5\u00E6\u00E7\u00E8\u00E9\u00EA\u00EB\u00EC\u00ED\u00EE"},
                    Pair{Dpt(16, 1), Padded(":\""), "5.1::\""}));

TEST(GroupValueConversion, bitHasNoValueWithReservedBitsSet) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const Bytes bytes{static_cast<std::uint8_t>(byte)};
        EXPECT_EQ(RoundTrip(Dpt(1, 1), bytes), byte < 2 ? std::optional(bytes) : std::nullopt) << byte;
    }
}

TEST(GroupValueConversion, keepsEveryByteOfType5) {
    constexpr unsigned Tariff = 6;
    for (unsigned sub = 0; sub < 12; ++sub) {
        const unsigned last = sub == Tariff ? 254 : 255;
        for (unsigned byte = 0; byte <= last; ++byte) {
            const Bytes bytes{static_cast<std::uint8_t>(byte)};
            EXPECT_EQ(RoundTrip(Dpt(5, sub), bytes), bytes) << sub << ", " << byte;
        }
    }
}

TEST(GroupValueConversion, keepsEveryCodeOfType7) {
    for (unsigned sub = 1; sub < 6; ++sub) {
        for (unsigned code = 0; code < 65536; ++code) {
            const Bytes bytes = BigEndian(code, 2);
            ASSERT_EQ(RoundTrip(Dpt(7, sub), bytes), bytes) << sub << ", " << code;
        }
    }
}

TEST(GroupValueConversion, keepsEveryCanonicalCodeOfType9AndDecodesTheOthers) {
    int canonical = 0;
    for (unsigned code = 0; code < 65536; ++code) {
        const Bytes bytes = BigEndian(code, 2);
        const auto serialised = Decode(Dpt(9, 1), bytes);
        if (code == 0x7FFF) {
            ASSERT_EQ(serialised, std::nullopt);
            continue;
        }
        ASSERT_TRUE(serialised) << code;
        const auto again = RoundTrip(Dpt(9, 1), bytes);
        ASSERT_TRUE(again) << code;
        ASSERT_EQ(Decode(Dpt(9, 1), *again), serialised) << code;
        ASSERT_LE(again->at(0) & 0x78, bytes[0] & 0x78) << "exponent of " << code;
        canonical += *again == bytes ? 1 : 0;
    }
    EXPECT_EQ(canonical, 34'815);  // of the 34,816 canonical codes one is the invalid 7FFF
}

TEST(GroupValueConversion, decodesBothCodesOfOneNumber) {
    EXPECT_EQ(Decode(Dpt(9, 1), {0x09, 0xF4}), "4.1:10");
    EXPECT_EQ(Decode(Dpt(9, 1), {0x03, 0xE8}), "4.1:10");
}

TEST(GroupValueConversion, keepsEveryKindOfCodeOfTheLargeTypes) {
    std::mt19937 random(1);
    for (unsigned i = 0; i < 50'000; ++i) {
        const auto number = static_cast<std::uint32_t>(random());
        ASSERT_EQ(RoundTrip(Dpt(12, 1), BigEndian(number, 4)), BigEndian(number, 4)) << number;
        ASSERT_EQ(RoundTrip(Dpt(13, 1), BigEndian(number, 4)), BigEndian(number, 4)) << number;
        const std::uint32_t anySingle = (i % 512) << 23U | (number & 0x7FFFFFU);
        ASSERT_EQ(RoundTrip(Dpt(14, 1), BigEndian(anySingle, 4)), BigEndian(anySingle, 4)) << anySingle;
    }
}

TEST(GroupValueConversion, keepsEveryCharacterOfType16) {
    for (unsigned character = 1; character < 256; ++character) {
        for (std::size_t length = 1; length <= 14; ++length) {
            const Bytes bytes = Padded(std::string(length, static_cast<char>(character)));
            EXPECT_EQ(RoundTrip(Dpt(16, 1), bytes), bytes) << character;
            EXPECT_EQ(RoundTrip(Dpt(16, 0), bytes), character < 128 ? std::optional(bytes) : std::nullopt) << character;
        }
    }
}

TEST(GroupValueConversion, endsATextAtItsFirstZero) {
    EXPECT_EQ(Decode(Dpt(16, 1), {'a', 0, 'b', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF}), "5.1:a");
    EXPECT_EQ(Decode(Dpt(16, 0), {'a', 0, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), "5.1:a");
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromText(std::string("a\0b", 3))), Padded("a"));
}

TEST(GroupValueConversion, cutsAndReplacesWhatDoesNotFitIntoAText) {
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromText("ABCDEFGHIJKLMNO")), Padded("ABCDEFGHIJKLMN"));
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromText("\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4"
                                                    "\u00E4\u00E4\u00E4\u00E4")),
              Padded(std::string(14, '\xE4')));
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromText("5 \u20AC")), Padded("5 ?"));
    EXPECT_EQ(Encode(Dpt(16, 0), ZANVALUE::FromText("G\u00E4nsef\u00FC\u00DFchen")), Padded("G?nsef??chen"));
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromText("\xE4\xFF")), Padded("\xE4\xFF")) << "bytes that are not UTF-8";
    EXPECT_EQ(Encode(Dpt(16, 0), ZANVALUE::FromText("a\xE4")), Padded("a?"));
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromInteger(-42)), Padded("-42"));
    EXPECT_EQ(Encode(Dpt(16, 1), ZANVALUE::FromFloat(0.5)), Padded("0.5"));
}

TEST(GroupValueConversion, roundsToTheNearestStep) {
    EXPECT_EQ(Encode(Dpt(5, 1), ZANVALUE::FromInteger(50)), Bytes{0x80});
    EXPECT_EQ(Encode(Dpt(5, 1), ZANVALUE::FromFloat(30)), Bytes{0x4C});
    EXPECT_EQ(Encode(Dpt(5, 1), ZANVALUE::FromFloat(0.39)), Bytes{0x01});
    EXPECT_EQ(Encode(Dpt(5, 3), ZANVALUE::FromInteger(270)), Bytes{0xBF});
    EXPECT_EQ(Encode(Dpt(7, 3), ZANVALUE::FromInteger(1004)), BigEndian(100, 2));
    EXPECT_EQ(Encode(Dpt(7, 4), ZANVALUE::FromFloat(1050.1)), BigEndian(11, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(500)), BigEndian(0x2E1A, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(-1000)), BigEndian(0xB1E6, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(0.005)), BigEndian(0, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(0.00501)), BigEndian(1, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(-0.0002)), BigEndian(0, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(-0.00501)), BigEndian(0x87FF, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromFloat(20.476)), BigEndian(0x0C00, 2));
    EXPECT_EQ(Encode(Dpt(14, 1), ZANVALUE::FromFloat(0.945000052452)), BigEndian(0x3F71EB86, 4));
    EXPECT_EQ(Encode(Dpt(14, 1), ZANVALUE::FromInteger(16777217)), BigEndian(0x4B800000, 4));
    EXPECT_EQ(Encode(Dpt(14, 1), ZANVALUE::FromFloat(1e-300)), BigEndian(0, 4));
}

TEST(GroupValueConversion, takesAValueOfAnotherTypeThatMeansTheSame) {
    EXPECT_EQ(Encode(Dpt(1, 1), ZANVALUE::FromInteger(1)), Bytes{1});
    EXPECT_EQ(Encode(Dpt(1, 1), ZANVALUE::FromText("0")), Bytes{0});
    EXPECT_EQ(Encode(Dpt(5, 10), ZANVALUE::FromFloat(42)), Bytes{42});
    EXPECT_EQ(Encode(Dpt(5, 10), ZANVALUE::FromText("42")), Bytes{42});
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromBoolean(true)), BigEndian(100, 2));
    EXPECT_EQ(Encode(Dpt(9, 1), ZANVALUE::FromSingle(21.0F)), BigEndian(0x0C1A, 2));
    EXPECT_EQ(Encode(Dpt(14, 1), ZANVALUE::FromText("1.5")), BigEndian(0x3FC00000, 4));
}

struct Refused {
    std::uint32_t dpt;
    const char* serialised;
};

class RefusedValues : public testing::TestWithParam<Refused> {};

TEST_P(RefusedValues, giveNoGroupValue) {
    EXPECT_EQ(Encode(GetParam().dpt, ZANVALUE::Deserialize(GetParam().serialised)), std::nullopt)
        << GetParam().serialised;
}

INSTANTIATE_TEST_SUITE_P(OutOfRange, RefusedValues,
                         testing::Values(Refused{Dpt(1, 1), "3.1:2"}, Refused{Dpt(1, 1), "3.1:-1"},
                                         Refused{Dpt(5, 1), "4.1:-0.1"}, Refused{Dpt(5, 1), "4.1:100.1"},
                                         Refused{Dpt(5, 3), "4.1:361"}, Refused{Dpt(5, 10), "3.1:256"},
                                         Refused{Dpt(5, 10), "3.1:-1"}, Refused{Dpt(7, 1), "3.1:65536"},
                                         Refused{Dpt(7, 1), "3.1:-1"}, Refused{Dpt(7, 3), "3.1:655351"},
                                         Refused{Dpt(7, 4), "3.1:6553501"}, Refused{Dpt(9, 1), "4.1:670433.3"},
                                         Refused{Dpt(9, 1), "4.1:670760.96"}, Refused{Dpt(9, 1), "4.1:-671088.7"},
                                         Refused{Dpt(9, 1), "4.1:1e300"}, Refused{Dpt(12, 1), "3.1:4294967296"},
                                         Refused{Dpt(12, 1), "3.1:-1"}, Refused{Dpt(13, 1), "3.1:2147483648"},
                                         Refused{Dpt(13, 1), "3.1:-2147483649"}, Refused{Dpt(14, 1), "4.1:3.5e+38"},
                                         Refused{Dpt(14, 1), "4.1:-1e+300"}));
INSTANTIATE_TEST_SUITE_P(NotANumber, RefusedValues,
                         testing::Values(Refused{Dpt(1, 1), "4.1:nan"}, Refused{Dpt(5, 1), "4.1:nan"},
                                         Refused{Dpt(5, 10), "4.1:nan"}, Refused{Dpt(7, 3), "4.1:inf"},
                                         Refused{Dpt(9, 1), "4.1:nan"}, Refused{Dpt(9, 1), "4.2:nan"},
                                         Refused{Dpt(9, 1), "4.1:inf"}, Refused{Dpt(9, 1), "4.1:-inf"},
                                         Refused{Dpt(12, 1), "4.1:inf"}, Refused{Dpt(13, 1), "4.1:nan"}));
INSTANTIATE_TEST_SUITE_P(OfAnotherKind, RefusedValues,
                         testing::Values(Refused{Dpt(1, 1), "5.1:true"}, Refused{Dpt(1, 1), "4.1:0.5"},
                                         Refused{Dpt(5, 1), "5.1:half"}, Refused{Dpt(5, 10), "4.1:42.4"},
                                         Refused{Dpt(9, 1), "5.1:"}, Refused{Dpt(12, 1), "5.1:1 "},
                                         Refused{Dpt(13, 1), "4.1:-0.5"}, Refused{Dpt(14, 1), "5.1:21 C"}));
INSTANTIATE_TEST_SUITE_P(WithoutContent, RefusedValues,
                         testing::Values(Refused{Dpt(1, 1), "1.1:"}, Refused{Dpt(5, 1), "1.1:"},
                                         Refused{Dpt(5, 10), "1.1:"}, Refused{Dpt(7, 1), "1.1:"},
                                         Refused{Dpt(7, 3), "1.1:"}, Refused{Dpt(9, 1), "1.1:"},
                                         Refused{Dpt(12, 1), "1.1:"}, Refused{Dpt(13, 1), "1.1:"},
                                         Refused{Dpt(14, 1), "1.1:"}, Refused{Dpt(16, 0), "1.1:"},
                                         Refused{Dpt(16, 1), "1.1:"}));

TEST(GroupValueConversion, refusesEveryOtherLength) {
    const std::vector<std::pair<std::uint32_t, std::size_t>> sizes{
        {Dpt(1, 1), 1},  {Dpt(5, 1), 1},   {Dpt(5, 3), 1},  {Dpt(5, 10), 1}, {Dpt(7, 1), 2},
        {Dpt(7, 3), 2},  {Dpt(7, 4), 2},   {Dpt(9, 1), 2},  {Dpt(12, 1), 4}, {Dpt(13, 1), 4},
        {Dpt(14, 1), 4}, {Dpt(16, 0), 14}, {Dpt(16, 1), 14}};
    for (const auto& [dpt, size] : sizes) {
        for (std::size_t length = 0; length <= 20; ++length) {
            EXPECT_EQ(Decode(dpt, Bytes(length)).has_value(), length == size) << dpt << ", " << length;
        }
    }
}

TEST(GroupValueConversion, knowsNoValueOfAnUnknownMainType) {
    for (const std::uint32_t mainNumber : {0U, 999U, 65535U}) {
        for (std::size_t length = 0; length <= 14; ++length) {
            EXPECT_EQ(Decode(Dpt(mainNumber, 1), Bytes(length)), std::nullopt) << mainNumber;
        }
        for (const auto& value : {ZANVALUE::FromBoolean(true), ZANVALUE::FromInteger(1), ZANVALUE::FromText("1")}) {
            EXPECT_EQ(Encode(Dpt(mainNumber, 1), value), std::nullopt) << mainNumber;
        }
    }
}

TEST(GroupValue, readsFourBytesAsASingle) {
    EXPECT_EQ(GroupValue({0x43, 0xC6, 0x80, 0x00}).GetFloatValue(), 397.0F);
    EXPECT_TRUE(std::isnan(GroupValue({0x7F, 0xC0, 0x00, 0x01}).GetFloatValue()));
    EXPECT_EQ(GroupValue({0xFF, 0x80, 0x00, 0x00}).GetFloatValue(), -std::numeric_limits<float>::infinity());
    for (const std::size_t length : {0U, 1U, 3U, 5U, 14U}) {
        EXPECT_THROW(GroupValue(Bytes(length)).GetFloatValue(), std::out_of_range) << length;
    }
}

}  // namespace
