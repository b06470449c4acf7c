#include "KnxStack/BinaryData.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <utility>

namespace {

using KnxStack::BinaryData;

TEST(BinaryData, ReadsBigEndianNumbersAtAnyOffset) {
    const BinaryData sut({0x01, 0x80, 0xFF, 0x00, 0x7F});
    EXPECT_EQ(sut.GetUInt8Value(0), 0x01U);
    EXPECT_EQ(sut.GetUInt8Value(4), 0x7FU);
    EXPECT_EQ(sut.GetUInt16Value(1), 0x80FFU);
    EXPECT_EQ(sut.GetUInt16Value(3), 0x007FU);
    EXPECT_EQ(sut.GetUInt32Value(0), 0x0180FF00U);
    EXPECT_EQ(sut.GetUInt32Value(1), 0x80FF007FU);
}

TEST(BinaryData, ThrowsWhereTheBytesDoNotLieInside) {
    const BinaryData sut({1, 2, 3, 4});
    constexpr auto Largest = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(sut.GetUInt8Value(4), std::out_of_range);
    EXPECT_THROW(sut.GetUInt16Value(3), std::out_of_range);
    EXPECT_THROW(sut.GetUInt32Value(1), std::out_of_range);
    EXPECT_THROW(sut.GetUInt8Value(Largest), std::out_of_range);
    EXPECT_THROW(sut.GetUInt16Value(Largest), std::out_of_range);
    EXPECT_THROW(sut.GetUInt32Value(Largest - 2), std::out_of_range);
    EXPECT_THROW(sut.GetStringValue(5), std::out_of_range);
}

TEST(BinaryData, SaysWhatIsOutOfRange) {
    const BinaryData sut({1, 2, 3});
    try {
        sut.GetUInt32Value(1);
        FAIL();
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "BinaryData: 4 bytes at offset 1 of 3");
    }
    try {
        sut.GetStringValue(7);
        FAIL();
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "BinaryData: text at offset 7 of 3");
    }
}

TEST(BinaryData, TextEndsAtTheFirstZeroByte) {
    const BinaryData sut({'a', 'b', 0, 'c', 0xE4});
    EXPECT_EQ(sut.GetStringValue(0), "ab");
    EXPECT_EQ(sut.GetStringValue(2), "");
}

TEST(BinaryData, TextWithoutZeroByteEndsWithTheData) {
    const BinaryData sut({'a', 'b', 0, 'c', 0xE4});
    EXPECT_EQ(sut.GetStringValue(3), "c\xE4");
    EXPECT_EQ(sut.GetStringValue(5), "");
    EXPECT_EQ(BinaryData().GetStringValue(0), "");
}

TEST(BinaryData, AppendsBigEndianNumbers) {
    BinaryData sut;
    sut.AppendUInt8Value(0xFE);
    sut.AppendUInt16Value(0x0102);
    sut.AppendUInt32Value(0xA0B0C0D0U);
    EXPECT_EQ(sut.GetBytes(), (std::vector<std::uint8_t>{0xFE, 0x01, 0x02, 0xA0, 0xB0, 0xC0, 0xD0}));
    EXPECT_EQ(sut.GetSize(), 7U);
}

TEST(BinaryData, MovedFromIsEmpty) {
    BinaryData sut({1, 2});
    const BinaryData moved(std::move(sut));
    EXPECT_EQ(moved.GetSize(), 2U);
    EXPECT_EQ(sut.GetSize(), 0U);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
}

}  // namespace
