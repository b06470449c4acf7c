#include "Zandrel/ZanValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Zandrel::ZANVALUE;
using Type = ZANVALUE::Type;
using namespace std::string_literals;

constexpr auto MaxInteger = std::numeric_limits<std::int64_t>::max();
constexpr auto MinInteger = std::numeric_limits<std::int64_t>::min();
constexpr auto Infinity = std::numeric_limits<double>::infinity();
const auto NotANumber = std::numeric_limits<double>::quiet_NaN();

float SingleOf(std::uint32_t bits) {
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t BitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

struct Form {
    ZANVALUE value;
    std::string serialised;
    std::string text;
};

class ZanValueForms : public testing::TestWithParam<Form> {};

TEST_P(ZanValueForms, serialiseAndDeserialiseAreInverses) {
    const auto& [value, serialised, text] = GetParam();
    EXPECT_EQ(value.Serialize(), serialised);
    EXPECT_EQ(value.ToString(), text);
    const auto sut = ZANVALUE::Deserialize(serialised);
    EXPECT_TRUE(sut == value);
    EXPECT_EQ(sut.GetType(), value.GetType());
    EXPECT_EQ(sut.GetSubtype(), value.GetSubtype());
    EXPECT_EQ(sut.Serialize(), serialised);
}

INSTANTIATE_TEST_SUITE_P(
    All, ZanValueForms,
    testing::Values(Form{ZANVALUE{}, "1.1:", ""},                                                                 //
                    Form{ZANVALUE::FromBoolean(false), "2.1:0", "0"},                                             //
                    Form{ZANVALUE::FromBoolean(true), "2.1:1", "1"},                                              //
                    Form{ZANVALUE::FromInteger(0), "3.1:0", "0"},                                                 //
                    Form{ZANVALUE::FromInteger(-42), "3.1:-42", "-42"},                                           //
                    Form{ZANVALUE::FromInteger(MaxInteger), "3.1:9223372036854775807", "9223372036854775807"},    //
                    Form{ZANVALUE::FromInteger(MinInteger), "3.1:-9223372036854775808", "-9223372036854775808"},  //
                    Form{ZANVALUE::FromFloat(0.0), "4.1:0", "0"},                                                 //
                    Form{ZANVALUE::FromFloat(-0.0), "4.1:-0", "-0"},                                              //
                    Form{ZANVALUE::FromFloat(0.1), "4.1:0.1", "0.1"},                                             //
                    Form{ZANVALUE::FromFloat(20.48), "4.1:20.48", "20.48"},                                       //
                    Form{ZANVALUE::FromFloat(100.0 / 255), "4.1:0.39215686274509803", "0.39215686274509803"},     //
                    Form{ZANVALUE::FromFloat(1e300), "4.1:1e+300", "1e+300"},                                     //
                    Form{ZANVALUE::FromFloat(5e-324), "4.1:5e-324", "5e-324"},                                    //
                    Form{ZANVALUE::FromFloat(Infinity), "4.1:inf", "inf"},                                        //
                    Form{ZANVALUE::FromFloat(-Infinity), "4.1:-inf", "-inf"},                                     //
                    Form{ZANVALUE::FromFloat(NotANumber), "4.1:nan", "nan"},                                      //
                    Form{ZANVALUE::FromFloat(-NotANumber), "4.1:nan", "nan"},                                     //
                    Form{ZANVALUE::FromSingle(21.3F), "4.2:21.3", "21.3"},                                        //
                    Form{ZANVALUE::FromSingle(-0.0F), "4.2:-0", "-0"},                                            //
                    Form{ZANVALUE::FromSingle(SingleOf(0x00000001)), "4.2:1e-45", "1e-45"},                       //
                    Form{ZANVALUE::FromSingle(SingleOf(0x7F7FFFFF)), "4.2:3.4028235e+38", "3.4028235e+38"},       //
                    Form{ZANVALUE::FromSingle(SingleOf(0x7F800000)), "4.2:inf", "inf"},                           //
                    Form{ZANVALUE::FromSingle(SingleOf(0xFF800000)), "4.2:-inf", "-inf"},                         //
                    Form{ZANVALUE::FromSingle(SingleOf(0x7FC00000)), "4.2:nan", "nan"},                           //
                    Form{ZANVALUE::FromSingle(SingleOf(0xFFC00000)), "4.2:nan(0xffc00000)", "nan(0xffc00000)"},   //
                    Form{ZANVALUE::FromSingle(SingleOf(0x7F800001)), "4.2:nan(0x7f800001)", "nan(0x7f800001)"},   //
                    Form{ZANVALUE::FromText(""), "5.1:", ""},                                                     //
                    Form{ZANVALUE::FromText("hello"), "5.1:hello", "hello"},                                      //
                    Form{ZANVALUE::FromText("3.1:42"), "5.1:3.1:42", "3.1:42"},                                   //
                    Form{ZANVALUE::FromText(R"("a:b")"), R"(5.1:"a:b")", R"("a:b")"},                             //
                    Form{ZANVALUE::FromText("a\r\nb\n"), "5.1:a\r\nb\n", "a\r\nb\n"},                             //
                    Form{ZANVALUE::FromText("a\0b\0"s), "5.1:a\0b\0"s, "a\0b\0"s},                                //
                    Form{ZANVALUE::FromText("\xE4\xFF"), "5.1:\xE4\xFF", "\xE4\xFF"},                             //
                    Form{ZANVALUE::FromText("\xE2\x82\xAC"), "5.1:\xE2\x82\xAC", "\xE2\x82\xAC"}));

class MalformedZanValues : public testing::TestWithParam<std::string> {};

TEST_P(MalformedZanValues, areRefused) {
    EXPECT_THROW(ZANVALUE::Deserialize(GetParam()), std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(Header, MalformedZanValues,
                         testing::Values("", "3", "3.1", "3:1", "3:.1", ":", ".:", ".1:5", "3.:5", "3.x:1", "x.1:1",
                                         "3.1.1:5", " 3.1:5", "3 .1:5", "+3.1:5", "-3.1:5", "3.-1:5", "3.+1:5",
                                         "0x3.1:5", "65539.1:5", "3.65536:5", "0.1:", "6.1:5", "9.1:", "3\0.1:5"s));
INSTANTIATE_TEST_SUITE_P(Content, MalformedZanValues,
                         testing::Values("1.1:0", "1.1: ", "2.1:", "2.1:2", "2.1:true", "2.1:01", "2.1:1 ",
                                         "3.1:", "3.1:12x", "3.1: 12", "3.1:12 ", "3.1:+1", "3.1:1.0", "3.1:-",
                                         "3.1:1\n", "3.1:9223372036854775808", "3.1:-9223372036854775809", "3.1:1\0"s));
INSTANTIATE_TEST_SUITE_P(Float, MalformedZanValues,
                         testing::Values("4.1:", "4.1:x", "4.1:+1", "4.1:1e", "4.1:1,5", "4.1:1e400", "4.1:-1e400",
                                         "4.1:-nan", "4.1:NAN", "4.1:infinity", "4.1:INF", "4.1:nan(0x7fc00001)",
                                         "4.2:1e39", "4.2:-nan", "4.2:nan()", "4.2:nan(7fc00001)", "4.2:nan(0x)",
                                         "4.2:nan(0x7fc00001", "4.2:nan(0x7fc00001))", "4.2:nan(0x7fc0001)",
                                         "4.2:nan(0x3f800000)", "4.2:nan(0x7f800000)", "4.2:nan(0x7fc0000g)",
                                         "4.2:nan(0x-7fc0000)"));

TEST(ZanValue, isWithoutContentByDefault) {
    const ZANVALUE sut;
    EXPECT_EQ(sut.GetType(), Type::None);
    EXPECT_EQ(sut.GetSubtype(), ZANVALUE::PlainSubtype);
    EXPECT_EQ(sut.GetBoolean(), std::nullopt);
    EXPECT_EQ(sut.GetInteger(), std::nullopt);
    EXPECT_EQ(sut.GetFloat(), std::nullopt);
    EXPECT_EQ(sut.GetSingle(), std::nullopt);
}

TEST(ZanValue, keepsAForeignSubtype) {
    for (const char* text : {"1.7:", "2.0:1", "3.65535:42", "4.7:0.1", "5.2:x"}) {
        EXPECT_EQ(ZANVALUE::Deserialize(text).Serialize(), text);
    }
    EXPECT_TRUE(ZANVALUE::Deserialize("3.2:42") != ZANVALUE::Deserialize("3.1:42"));
}

TEST(ZanValue, readsOtherSpellingsOfANumber) {
    EXPECT_TRUE(ZANVALUE::Deserialize("4.1:20.0") == ZANVALUE::FromFloat(20));
    EXPECT_TRUE(ZANVALUE::Deserialize("4.1:1E+3") == ZANVALUE::FromFloat(1000));
    EXPECT_TRUE(ZANVALUE::Deserialize("3.1:007") == ZANVALUE::FromInteger(7));
    EXPECT_TRUE(ZANVALUE::Deserialize("4.2:nan(0xFFC00001)") == ZANVALUE::FromSingle(SingleOf(0xFFC00001)));
}

TEST(ZanValue, keepsEveryKindOfSingle) {
    std::mt19937 random(1);
    for (int i = 0; i < 100'000; ++i) {
        // Every exponent, both signs, the mantissas at random: numbers, denormals, zeros and whatever is no number.
        const std::uint32_t bits = (static_cast<std::uint32_t>(i % 512) << 23U) | (random() & 0x7FFFFFU);
        const auto serialised = ZANVALUE::FromSingle(SingleOf(bits)).Serialize();
        const auto sut = ZANVALUE::Deserialize(serialised).GetSingle();
        ASSERT_TRUE(sut) << serialised;
        ASSERT_EQ(BitsOf(*sut), bits) << serialised;
    }
}

TEST(ZanValue, keepsEveryKindOfDouble) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100'000; ++i) {
        const std::uint64_t bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        const auto sut = ZANVALUE::FromFloat(number);
        ASSERT_TRUE(ZANVALUE::Deserialize(sut.Serialize()) == sut) << sut.Serialize();
    }
}

TEST(ZanValue, keepsEveryByteOfAText) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(ZANVALUE::Deserialize(ZANVALUE::FromText(all).Serialize()).ToString(), all);
}

TEST(ZanValue, comparesTypeSubtypeAndContent) {
    const std::vector<ZANVALUE> different{
        ZANVALUE{},
        ZANVALUE::FromBoolean(false),
        ZANVALUE::FromBoolean(true),
        ZANVALUE::FromInteger(0),
        ZANVALUE::FromInteger(1),
        ZANVALUE::FromFloat(0.0),
        ZANVALUE::FromFloat(-0.0),
        ZANVALUE::FromFloat(NotANumber),
        ZANVALUE::FromSingle(0.0F),
        ZANVALUE::FromSingle(-0.0F),
        ZANVALUE::FromSingle(SingleOf(0x7FC00000)),
        ZANVALUE::FromSingle(SingleOf(0x7FC00001)),
        ZANVALUE::FromText(""),
        ZANVALUE::FromText("0"),
    };
    for (std::size_t i = 0; i < different.size(); ++i) {
        for (std::size_t j = 0; j < different.size(); ++j) {
            const auto& other = different[j];
            EXPECT_EQ(different[i] == other, i == j) << different[i].Serialize() << " and " << other.Serialize();
            EXPECT_EQ(different[i] != other, i != j) << different[i].Serialize() << " and " << other.Serialize();
        }
    }
}

TEST(ZanValue, readsAsABooleanWhereItIsZeroOrOne) {
    EXPECT_EQ(ZANVALUE::FromBoolean(true).GetBoolean(), true);
    EXPECT_EQ(ZANVALUE::FromInteger(0).GetBoolean(), false);
    EXPECT_EQ(ZANVALUE::FromInteger(1).GetBoolean(), true);
    EXPECT_EQ(ZANVALUE::FromFloat(1).GetBoolean(), true);
    EXPECT_EQ(ZANVALUE::FromText("1").GetBoolean(), true);
    EXPECT_EQ(ZANVALUE::FromInteger(2).GetBoolean(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromInteger(-1).GetBoolean(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromFloat(0.5).GetBoolean(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("true").GetBoolean(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("").GetBoolean(), std::nullopt);
}

TEST(ZanValue, readsAsAnIntegerWhereItIsWholeAndInRange) {
    EXPECT_EQ(ZANVALUE::FromBoolean(true).GetInteger(), 1);
    EXPECT_EQ(ZANVALUE::FromInteger(MinInteger).GetInteger(), MinInteger);
    EXPECT_EQ(ZANVALUE::FromFloat(-3.0).GetInteger(), -3);
    EXPECT_EQ(ZANVALUE::FromFloat(-0.0).GetInteger(), 0);
    EXPECT_EQ(ZANVALUE::FromFloat(-9223372036854775808.0).GetInteger(), MinInteger);
    EXPECT_EQ(ZANVALUE::FromSingle(4.0F).GetInteger(), 4);
    EXPECT_EQ(ZANVALUE::FromText("9223372036854775807").GetInteger(), MaxInteger);
    EXPECT_EQ(ZANVALUE::FromText("4.0").GetInteger(), 4);
    EXPECT_EQ(ZANVALUE::FromFloat(9223372036854775808.0).GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromFloat(3.5).GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromFloat(NotANumber).GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromFloat(Infinity).GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("4 ").GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("9223372036854775808").GetInteger(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("four").GetInteger(), std::nullopt);
}

TEST(ZanValue, readsAsAFloatWhereThatIsExact) {
    EXPECT_EQ(ZANVALUE::FromBoolean(false).GetFloat(), 0.0);
    EXPECT_EQ(ZANVALUE::FromInteger(1LL << 53).GetFloat(), 9007199254740992.0);
    EXPECT_EQ(ZANVALUE::FromInteger(MinInteger).GetFloat(), -9223372036854775808.0);
    EXPECT_EQ(ZANVALUE::FromSingle(0.5F).GetFloat(), 0.5);
    EXPECT_EQ(ZANVALUE::FromText("-1.5e3").GetFloat(), -1500.0);
    EXPECT_TRUE(std::isnan(ZANVALUE::FromText("nan").GetFloat().value()));
    EXPECT_EQ(ZANVALUE::FromInteger((1LL << 53) + 1).GetFloat(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromInteger(MaxInteger).GetFloat(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("1.5 V").GetFloat(), std::nullopt);
}

TEST(ZanValue, readsAsASingleWhereThatIsExact) {
    EXPECT_EQ(BitsOf(ZANVALUE::FromSingle(SingleOf(0xFFC12345)).GetSingle().value()), 0xFFC12345U);
    EXPECT_EQ(ZANVALUE::FromFloat(0.5).GetSingle(), 0.5F);
    EXPECT_EQ(ZANVALUE::FromInteger(1 << 24).GetSingle(), 16777216.0F);
    EXPECT_EQ(ZANVALUE::FromBoolean(true).GetSingle(), 1.0F);
    EXPECT_EQ(ZANVALUE::FromFloat(-Infinity).GetSingle(), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(ZANVALUE::FromFloat(NotANumber).GetSingle().value()));
    EXPECT_EQ(ZANVALUE::FromFloat(0.1).GetSingle(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromInteger((1 << 24) + 1).GetSingle(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromFloat(1e300).GetSingle(), std::nullopt);
    EXPECT_EQ(ZANVALUE::FromText("x").GetSingle(), std::nullopt);
}

}  // namespace
