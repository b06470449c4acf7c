#include "ScrollingText.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Zandrel::ScrollingText;
using Segments = std::vector<std::string>;
namespace Wrapping = Zandrel::DisplayTextWrapping;

/// The first `count` segments that are shown.
Segments Show(ScrollingText sut, int count) {
    Segments segments{sut.GetSegment()};
    for (int i = 1; i < count; ++i) {
        sut.Advance();
        segments.push_back(sut.GetSegment());
    }
    return segments;
}

TEST(ScrollingText, ScrollsThroughTheGapBackToTheStart) {
    const auto segments = Show(ScrollingText("ABCDEFGHIJKLMNOP", Wrapping::Scroll), 21);

    EXPECT_EQ(segments,
              (Segments{"ABCDEFGHIJKLMN", "BCDEFGHIJKLMNO", "CDEFGHIJKLMNOP", "DEFGHIJKLMNOP ", "EFGHIJKLMNOP  ",
                        "FGHIJKLMNOP   ", "GHIJKLMNOP    ", "HIJKLMNOP    A", "IJKLMNOP    AB", "JKLMNOP    ABC",
                        "KLMNOP    ABCD", "LMNOP    ABCDE", "MNOP    ABCDEF", "NOP    ABCDEFG", "OP    ABCDEFGH",
                        "P    ABCDEFGHI", "    ABCDEFGHIJ", "   ABCDEFGHIJK", "  ABCDEFGHIJKL", " ABCDEFGHIJKLM",
                        "ABCDEFGHIJKLMN"}));
}

TEST(ScrollingText, LastPageIsShorterAndNotFilledUp) {
    EXPECT_EQ(Show(ScrollingText("First page 14.Second", Wrapping::Pages), 4),
              (Segments{"First page 14.", "Second", "First page 14.", "Second"}));
}

TEST(ScrollingText, TextOfWholePagesHasNoEmptyPage) {
    EXPECT_EQ(Show(ScrollingText("First page 14.Second page 14", Wrapping::Pages), 3),
              (Segments{"First page 14.", "Second page 14", "First page 14."}));
}

TEST(ScrollingText, StandsStillWithoutTicker) {
    EXPECT_EQ(Show(ScrollingText("ABCDEFGHIJKLMNOP", Wrapping::NoTicker), 3),
              (Segments{"ABCDEFGHIJKLMN", "ABCDEFGHIJKLMN", "ABCDEFGHIJKLMN"}));
}

TEST(ScrollingText, LeadingAndTrailingBlanksNeverAppear) {
    EXPECT_EQ(Show(ScrollingText("    First page 14.Second    ", Wrapping::Pages), 3),
              (Segments{"First page 14.", "Second", "First page 14."}));
    EXPECT_EQ(Show(ScrollingText("    ABCDEFGHIJKLMNOP    ", Wrapping::Scroll), 21),
              Show(ScrollingText("ABCDEFGHIJKLMNOP", Wrapping::Scroll), 21));
}

TEST(ScrollingText, OnlyBlanksAreStripped) {
    EXPECT_EQ(ScrollingText("\tA\n", Wrapping::Pages).GetSegment(), "\tA\n");
}

TEST(ScrollingText, BlanksInsideStay) {
    EXPECT_EQ(ScrollingText(" A  B ", Wrapping::Pages).GetSegment(), "A  B");
}

TEST(ScrollingText, TextOfBlanksIsEmpty) {
    for (const unsigned wrapping : {Wrapping::Pages, Wrapping::NoTicker}) {
        EXPECT_EQ(Show(ScrollingText(std::string(20, ' '), wrapping), 3), (Segments{"", "", ""}));
    }
}

TEST(ScrollingText, TextOfBlanksThatScrollsIsItsGap) {
    EXPECT_EQ(Show(ScrollingText(std::string(20, ' '), Wrapping::Scroll), 3),
              (Segments{std::string(14, ' '), std::string(14, ' '), std::string(14, ' ')}));
}

TEST(ScrollingText, ShortTextIsRepeatedUntilTheSegmentIsFull) {
    EXPECT_EQ(Show(ScrollingText("       AB      ", Wrapping::Scroll), 7),
              (Segments{"AB    AB    AB", "B    AB    AB ", "    AB    AB  ", "   AB    AB   ", "  AB    AB    ",
                        " AB    AB    A", "AB    AB    AB"}));
    EXPECT_EQ(ScrollingText("ABC            ", Wrapping::NoTicker).GetSegment(), "ABCABCABCABCAB");
}

TEST(ScrollingText, PageOfAShortTextIsNotFilledUp) {
    EXPECT_EQ(Show(ScrollingText("       AB      ", Wrapping::Pages), 2), (Segments{"AB", "AB"}));
}

TEST(ScrollingText, UnknownWrappingScrolls) {
    EXPECT_EQ(Show(ScrollingText("ABCDEFGHIJKLMNOP", 7), 21), Show(ScrollingText("ABCDEFGHIJKLMNOP", 0), 21));
}

TEST(ScrollingText, NewWrappingStartsAtTheFront) {
    ScrollingText sut("ABCDEFGHIJKLMNOP", Wrapping::Scroll);
    sut.Advance();

    sut.SetWrapping(Wrapping::Pages);

    EXPECT_EQ(Show(sut, 3), (Segments{"ABCDEFGHIJKLMN", "OP", "ABCDEFGHIJKLMN"}));
}

TEST(ScrollingText, NewWrappingKeepsOneGap) {
    ScrollingText sut("ABCDEFGHIJKLMNOP", Wrapping::Scroll);

    sut.SetWrapping(Wrapping::Pages);
    sut.SetWrapping(Wrapping::Scroll);
    sut.SetWrapping(Wrapping::Scroll);

    EXPECT_EQ(Show(sut, 21), Show(ScrollingText("ABCDEFGHIJKLMNOP", Wrapping::Scroll), 21));
}

}  // namespace
