#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/thread.hpp>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ThreadShortage.h"
#include "TickerFixture.h"

namespace {

using boost::chrono::hours;
using boost::chrono::milliseconds;
using boost::chrono::seconds;
using TestSupport::DisplayCo;
using TestSupport::LogLine;
using TestSupport::ThreadShortage;
using Zandrel::KnxStyleString;
using Zandrel::TickerThreadManager;
using Lines = std::vector<LogLine>;
namespace Wrapping = Zandrel::DisplayTextWrapping;

const std::string LongText = "ABCDEFGHIJKLMNOP";
const std::string FourteenCharacters = "ABCDEFGHIJKLMN";

class TickerTest : public TestSupport::TickerFixture {};

TEST(TickPeriod, FollowsSpeedAndWrapping) {
    const auto period = [](unsigned speed, unsigned wrapping) {
        return Zandrel::GetTickPeriod(speed, wrapping, milliseconds(100));
    };
    EXPECT_EQ(period(0, Wrapping::Pages), seconds(4));
    EXPECT_EQ(period(1, Wrapping::Pages), seconds(2));
    EXPECT_EQ(period(2, Wrapping::Pages), seconds(1));
    EXPECT_EQ(period(3, Wrapping::Pages), seconds(2));
    for (const unsigned wrapping : {Wrapping::Scroll, Wrapping::NoTicker, 3U}) {
        EXPECT_EQ(period(0, wrapping), seconds(1));
        EXPECT_EQ(period(1, wrapping), milliseconds(400));
        EXPECT_EQ(period(2, wrapping), milliseconds(100));
        EXPECT_EQ(period(255, wrapping), milliseconds(400));
    }
}

TEST_F(TickerTest, TextOfFourteenCharactersIsWrittenOnceAndStartsNoTicker) {
    const ThreadShortage noThread;

    EXPECT_TRUE(SetText(FourteenCharacters));

    EXPECT_EQ(ShownOnceStopped(), Texts{FourteenCharacters});
}

TEST_F(TickerTest, TextOfFifteenCharactersStartsATicker) {
    EXPECT_TRUE(SetText("ABCDEFGHIJKLMNO"));

    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{FourteenCharacters, "O"}));
}

TEST_F(TickerTest, ShortTextIsWrittenAsItIs) {
    EXPECT_TRUE(SetText("  A "));
    EXPECT_TRUE(SetText(""));

    EXPECT_EQ(display_.Take(), (Texts{"  A ", ""}));
}

TEST_F(TickerTest, ResultIsThatOfTheWrite) {
    display_.Fail();

    EXPECT_FALSE(SetText("A"));
    sut_.SetWrapping(Wrapping::NoTicker);
    EXPECT_FALSE(SetText(LongText));
}

TEST_F(TickerTest, TickerThatIsStartedIsASuccessWhateverItsFirstWrite) {
    display_.Fail();

    EXPECT_TRUE(SetText(LongText));
}

TEST_F(TickerTest, ScrollsOneCharacterEveryHundredMilliseconds) {
    sut_.SetWrapping(Wrapping::Scroll);
    sut_.SetSpeed(2);
    SetText(LongText);
    EXPECT_EQ(display_.Take(), Texts{"ABCDEFGHIJKLMN"});

    EXPECT_EQ(ShownAfter(milliseconds(100), 1), Texts{"BCDEFGHIJKLMNO"});
    EXPECT_EQ(ShownAfter(milliseconds(100), 1), Texts{"CDEFGHIJKLMNOP"});
    EXPECT_EQ(ShownAfter(milliseconds(1700), 17).back(), " ABCDEFGHIJKLM");
    EXPECT_EQ(ShownAfter(milliseconds(100), 1), Texts{"ABCDEFGHIJKLMN"});
}

TEST_F(TickerTest, TurnsPagesEveryFourSeconds) {
    SetText("First page 14.Second");
    EXPECT_EQ(display_.Take(), Texts{"First page 14."});

    EXPECT_EQ(ShownAfter(seconds(4), 1), Texts{"Second"});
    EXPECT_EQ(ShownAfter(seconds(4), 1), Texts{"First page 14."});
}

TEST_F(TickerTest, StepsAtAFixedRate) {
    sut_.SetWrapping(Wrapping::Scroll);
    sut_.SetSpeed(2);
    SetText(LongText);

    EXPECT_EQ(ShownAfter(milliseconds(350), 4).size(), 4U);
    EXPECT_EQ(ShownAfter(milliseconds(50), 1), Texts{"EFGHIJKLMNOP  "});
}

TEST_F(TickerTest, TimeThatTheFirstSegmentTakesCountsAsPartOfItsPeriod) {
    TickerThreadManager sut(
        log_.GetLogger(),
        [this, isFirst = true](std::uint16_t co, const KnxStyleString& text) mutable {
            if (std::exchange(isFirst, false)) {
                clock_->Advance(seconds(4));
            }
            return display_.Write(co, text);
        },
        clock_);
    sut.SetText(DisplayCo, KnxStyleString(LongText));

    EXPECT_EQ(ShownAfter(seconds(0), 2), (Texts{FourteenCharacters, "OP"}));
}

TEST_F(TickerTest, TimeBaseScalesThePeriod) {
    TickerThreadManager sut(
        log_.GetLogger(), [this](std::uint16_t co, const KnxStyleString& text) { return display_.Write(co, text); },
        clock_, milliseconds(5));
    sut.SetText(DisplayCo, KnxStyleString(LongText));

    EXPECT_EQ(ShownAfter(milliseconds(200), 2), (Texts{FourteenCharacters, "OP"}));
}

TEST_F(TickerTest, NoTickerWritesTheFirstFourteenCharactersOnly) {
    const ThreadShortage noThread;
    sut_.SetWrapping(Wrapping::NoTicker);

    EXPECT_TRUE(SetText(LongText));

    EXPECT_EQ(ShownOnceStopped(), Texts{FourteenCharacters});
}

TEST_F(TickerTest, NoTickerLeavesARunningTickerAlone) {
    SetText(LongText);
    sut_.SetWrapping(Wrapping::NoTicker);

    SetText("Something else that is long");

    EXPECT_EQ(ShownAfter(seconds(4), 3), (Texts{FourteenCharacters, "Something else", FourteenCharacters}));
}

TEST_F(TickerTest, BlanksAroundTheTextNeverAppear) {
    SetText("    First page 14.Second    ");

    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{"First page 14.", "Second"}));
    EXPECT_EQ(ShownAfter(seconds(4), 1), (Texts{"First page 14."}));
}

TEST_F(TickerTest, TextOfBlanksStandsEmpty) {
    SetText(std::string(15, ' '));

    EXPECT_EQ(ShownAfter(seconds(8), 3), (Texts{"", "", ""}));
}

TEST_F(TickerTest, SecondLongTextStandsStill) {
    SetText(LongText);

    EXPECT_TRUE(SetText("Something else that is long"));

    EXPECT_EQ(ShownOnceStopped(), (Texts{FourteenCharacters, "Something else"}));
}

TEST_F(TickerTest, ThirdLongTextStandsStillToo) {
    SetText(LongText);
    SetText("Something else that is long");

    EXPECT_TRUE(SetText("And this one is long as well"));

    EXPECT_EQ(ShownOnceStopped(), (Texts{FourteenCharacters, "Something else", "And this one i"}));
}

TEST_F(TickerTest, ResultOfASecondLongTextIsThatOfItsWrite) {
    SetText(LongText);
    display_.Fail();

    EXPECT_FALSE(SetText("Something else that is long"));
}

TEST_F(TickerTest, ShortTextStopsTheTicker) {
    SetText(LongText);

    EXPECT_TRUE(SetText("Short"));

    EXPECT_EQ(ShownOnceStopped(), (Texts{FourteenCharacters, "Short"}));
}

TEST_F(TickerTest, LongTextAfterAShortOneRunsAgain) {
    SetText(LongText);
    SetText("Something else that is long");
    SetText("Short");
    display_.Take();

    SetText(LongText);

    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{FourteenCharacters, "OP"}));
}

TEST_F(TickerTest, EachCoHasATickerOfItsOwn) {
    SetText(LongText, 1);
    SetText(LongText, 520);

    clock_->Advance(seconds(4));
    ASSERT_TRUE(display_.WaitFor(4));

    const Texts both{FourteenCharacters, "OP"};
    EXPECT_EQ(display_.TakeByCo(), (std::map<std::uint16_t, Texts>{{1, both}, {520, both}}));
}

TEST_F(TickerTest, NewSpeedCountsFromTheNextStepOn) {
    SetText(LongText);
    sut_.SetSpeed(2);

    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{FourteenCharacters, "OP"}));
    EXPECT_EQ(ShownAfter(seconds(1), 1), Texts{FourteenCharacters});
}

TEST_F(TickerTest, NewWrappingStartsTheTextAnew) {
    SetText(LongText);
    ShownAfter(seconds(4), 2);
    sut_.SetWrapping(Wrapping::Scroll);

    EXPECT_EQ(ShownAfter(seconds(4), 1), Texts{"BCDEFGHIJKLMNO"});
    EXPECT_EQ(ShownAfter(seconds(1), 1), Texts{"CDEFGHIJKLMNOP"});
}

TEST_F(TickerTest, SettingsCountForTickersToCome) {
    sut_.SetSpeed(1);
    sut_.SetWrapping(Wrapping::Scroll);
    SetText(LongText);

    EXPECT_EQ(ShownAfter(milliseconds(400), 2), (Texts{FourteenCharacters, "BCDEFGHIJKLMNO"}));
}

TEST_F(TickerTest, TerminateStopsAndForgetsAllTickers) {
    SetText(LongText, 1);
    SetText(LongText, 2);
    log_.TakeLines();

    sut_.Terminate();

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}}));
    EXPECT_EQ(ShownOnceStopped().size(), 2U);
    SetText(LongText, 1);
    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{FourteenCharacters, "OP"}));
}

TEST_F(TickerTest, DestructionTerminates) {
    {
        TickerThreadManager sut(
            log_.GetLogger(), [this](std::uint16_t co, const KnxStyleString& text) { return display_.Write(co, text); },
            clock_);
        sut.SetText(DisplayCo, KnxStyleString(LongText));
    }

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}}));
    EXPECT_EQ(ShownOnceStopped(), Texts{FourteenCharacters});
}

TEST_F(TickerTest, InterruptedThreadCanTerminate) {
    SetText(LongText);
    bool stillInterrupted = false;
    boost::thread terminating([&] {
        while (!boost::this_thread::interruption_requested()) {
            boost::this_thread::yield();
        }
        sut_.Terminate();
        stillInterrupted = boost::this_thread::interruption_requested();
    });
    terminating.interrupt();
    terminating.join();

    EXPECT_TRUE(stillInterrupted);
    EXPECT_EQ(ShownOnceStopped(), Texts{FourteenCharacters});
}

TEST_F(TickerTest, TextIsRefusedWhileClosed) {
    SetText(LongText);
    sut_.Close();
    log_.TakeLines();

    EXPECT_FALSE(SetText(LongText));
    EXPECT_FALSE(SetText("Short"));

    const LogLine refused{"DEBUG", "SetText - Texts are not shown at present, ignoring the one for CO 7"};
    EXPECT_EQ(log_.GetLines(), (Lines{refused, refused}));
    EXPECT_EQ(ShownOnceStopped(), Texts{FourteenCharacters});
}

TEST_F(TickerTest, TextIsShownAgainOnceOpened) {
    sut_.Close();
    sut_.Open();

    EXPECT_TRUE(SetText(LongText));

    EXPECT_EQ(ShownAfter(seconds(4), 2), (Texts{FourteenCharacters, "OP"}));
}

TEST_F(TickerTest, TickerThatGetsNoThreadStandsStill) {
    {
        const ThreadShortage noThread;
        EXPECT_FALSE(SetText(LongText));
    }

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"ERROR", "Run - ThreadParameter::Run(): (CO 7) Failed to create ticker thread."}}));
    EXPECT_TRUE(SetText("Something else that is long")) << "the ticker stays in the map";
    EXPECT_EQ(ShownOnceStopped(), (Texts{FourteenCharacters, "Something else"}));
}

TEST_F(TickerTest, WithoutAWriteFunctionTextsThrow) {
    TickerThreadManager sut(log_.GetLogger(), nullptr, clock_);

    EXPECT_THROW(sut.SetText(DisplayCo, KnxStyleString("A")), std::bad_function_call);
    EXPECT_THROW(sut.SetText(DisplayCo, KnxStyleString(LongText)), std::bad_function_call);
    sut.SetWrapping(Wrapping::NoTicker);
    EXPECT_THROW(sut.SetText(DisplayCo, KnxStyleString("A")), std::bad_function_call);
}

TEST_F(TickerTest, ExceptionEndsTheTickerInOneLine) {
    std::atomic<int> writes{0};
    TickerThreadManager sut(
        log_.GetLogger(),
        [this, &writes](std::uint16_t co, const KnxStyleString& text) {
            display_.Write(co, text);
            if (++writes > 1) {
                throw std::runtime_error("bus is on fire");
            }
            return true;
        },
        clock_);
    sut.SetText(DisplayCo, KnxStyleString(LongText));
    clock_->Advance(hours(1));
    ASSERT_TRUE(display_.WaitFor(2));
    sut.Terminate();

    EXPECT_THAT(log_.GetLines(),
                testing::UnorderedElementsAre(LogLine{"ERROR", "Tick - Unexpected failure: bus is on fire"},
                                              LogLine{"DEBUG", "Terminate - Stopping all ticker threads."}));
    EXPECT_EQ(writes, 2);
}

TEST_F(TickerTest, TextsAndSettingsFromManyThreadsDoNotClash) {
    boost::thread_group threads;
    for (std::uint16_t co = 1; co <= 4; ++co) {
        threads.create_thread([this, co] {
            for (int i = 0; i < 50; ++i) {
                SetText(i % 3 == 2 ? "Short" : LongText, co);
                clock_->Advance(milliseconds(500));
            }
        });
    }
    threads.create_thread([this] {
        for (unsigned i = 0; i < 50; ++i) {
            sut_.SetWrapping(i % 2);
            sut_.SetSpeed(i % 3);
        }
    });
    threads.join_all();
    for (std::uint16_t co = 1; co <= 4; ++co) {
        SetText("Short", co);
    }

    EXPECT_EQ(ShownOnceStopped().back(), "Short");
}

}  // namespace
