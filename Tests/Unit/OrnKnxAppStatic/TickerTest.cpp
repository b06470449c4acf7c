#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread.hpp>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CapturingAppender.h"
#include "SimulatedClock.h"
#include "ThreadShortage.h"
#include "TickerThreadManager.h"

namespace {

using boost::chrono::hours;
using boost::chrono::milliseconds;
using boost::chrono::seconds;
using TestSupport::LogCapture;
using TestSupport::LogLine;
using TestSupport::SimulatedClock;
using TestSupport::ThreadShortage;
using Zandrel::KnxStyleString;
using Zandrel::TickerThreadManager;
using Lines = std::vector<LogLine>;
using Texts = std::vector<std::string>;
namespace Wrapping = Zandrel::DisplayTextWrapping;

constexpr std::uint16_t Co = 7;
const std::string LongText = "ABCDEFGHIJKLMNOP";
const std::string FourteenCharacters = "ABCDEFGHIJKLMN";

/// Stands for the bus. Thread-safe.
class Display {
public:
    bool Write(std::uint16_t co, const KnxStyleString& text) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        written_.emplace_back(co, text.GetBytes());
        shown_.notify_all();
        return !fails_;
    }
    void Fail() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        fails_ = true;
    }

    /// What was written on all COs, in order, and forgets it.
    Texts Take() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        Texts texts;
        for (auto& [co, text] : std::exchange(written_, {})) {
            texts.push_back(text);
        }
        return texts;
    }
    std::vector<std::uint16_t> GetCos() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        std::vector<std::uint16_t> cos;
        for (const auto& [co, text] : written_) {
            cos.push_back(co);
        }
        return cos;
    }
    /// Waits until `count` texts were written. False when they were not within 10 s.
    bool WaitFor(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return shown_.wait_for(lock, seconds(10), [this, count] { return written_.size() >= count; });
    }

private:
    mutable boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable shown_;
    std::vector<std::pair<std::uint16_t, std::string>> written_;
    bool fails_ = false;
};

class TickerTest : public testing::Test {
protected:
    bool SetText(const std::string& text, std::uint16_t co = Co) { return sut_.SetText(co, KnxStyleString(text)); }

    /// Lets `time` pass and waits for the `count` segments that are shown meanwhile.
    Texts ShownAfter(Zandrel::Clock::Duration time, std::size_t count) {
        clock_->Advance(time);
        EXPECT_TRUE(display_.WaitFor(count));
        return display_.Take();
    }

    /// What was shown, once no ticker's thread is left that could show more.
    Texts ShownOnceStopped() {
        const auto deadline = boost::chrono::steady_clock::now() + seconds(10);
        while (CountThreads() > threadsAtStart_ && boost::chrono::steady_clock::now() < deadline) {
            boost::this_thread::yield();
        }
        EXPECT_EQ(CountThreads(), threadsAtStart_);
        return display_.Take();
    }

    static std::ptrdiff_t CountThreads() {
        return std::distance(boost::filesystem::directory_iterator("/proc/self/task"),
                             boost::filesystem::directory_iterator());
    }

    const std::ptrdiff_t threadsAtStart_ = CountThreads();
    LogCapture log_;
    Display display_;
    std::shared_ptr<SimulatedClock> clock_ = std::make_shared<SimulatedClock>();
    TickerThreadManager sut_{log_.GetLogger(),
                             [this](std::uint16_t co, const KnxStyleString& text) { return display_.Write(co, text); },
                             clock_};
};

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

TEST_F(TickerTest, TimeBaseScalesThePeriod) {
    TickerThreadManager sut(
        log_.GetLogger(), [this](std::uint16_t co, const KnxStyleString& text) { return display_.Write(co, text); },
        clock_, milliseconds(5));
    sut.SetText(Co, KnxStyleString(LongText));

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

    auto cos = display_.GetCos();
    std::sort(cos.begin(), cos.end());
    EXPECT_EQ(cos, (std::vector<std::uint16_t>{1, 1, 520, 520}));
}

TEST_F(TickerTest, ManyTickersRunAtOnce) {
    for (std::uint16_t co = 1; co <= 520; ++co) {
        ASSERT_TRUE(SetText(LongText, co)) << co;
    }
    ASSERT_EQ(display_.Take().size(), 520U);

    EXPECT_EQ(ShownAfter(seconds(4), 520), Texts(520, "OP"));
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
        sut.SetText(Co, KnxStyleString(LongText));
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

    EXPECT_THROW(sut.SetText(Co, KnxStyleString("A")), std::bad_function_call);
    EXPECT_THROW(sut.SetText(Co, KnxStyleString(LongText)), std::bad_function_call);
    sut.SetWrapping(Wrapping::NoTicker);
    EXPECT_THROW(sut.SetText(Co, KnxStyleString("A")), std::bad_function_call);
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
    sut.SetText(Co, KnxStyleString(LongText));
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
