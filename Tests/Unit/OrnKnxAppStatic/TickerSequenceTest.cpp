#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <ostream>

#include "TickerFixture.h"

namespace {

using boost::chrono::milliseconds;
using boost::chrono::nanoseconds;
using boost::chrono::seconds;
using TestSupport::DisplayCo;
using TestSupport::LogLine;
using Zandrel::KnxStyleString;
namespace Wrapping = Zandrel::DisplayTextWrapping;

const std::string TwentyCharacters = "ABCDEFGHIJKLMNOPQRST";

/// What the display settings make of a long text.
struct Course {
    unsigned speed;
    unsigned wrapping;
    milliseconds period;
};

void PrintTo(const Course& course, std::ostream* stream) {
    *stream << "speed " << course.speed << ", wrapping " << course.wrapping;
}

class TickerSequenceTest : public TestSupport::TickerFixture {
protected:
    /// The segments of `TwentyCharacters`, the first one and `steps` that follow.
    static Texts MakeSegments(unsigned wrapping, std::size_t steps) {
        const Texts pages{"ABCDEFGHIJKLMN", "OPQRST"};
        const std::string loop = TwentyCharacters + "    ";
        const std::string twice = loop + loop;
        Texts segments;
        for (std::size_t i = 0; i <= steps; ++i) {
            segments.push_back(wrapping == Wrapping::Pages ? pages[i % pages.size()]
                                                           : twice.substr(i % loop.size(), 14));
        }
        return segments;
    }
};

class TickerCourseTest : public TickerSequenceTest, public testing::WithParamInterface<Course> {};

TEST_P(TickerCourseTest, ShowsEachSegmentAtItsTime) {
    static constexpr std::size_t Steps = 25;  // once around and one more
    const auto& [speed, wrapping, period] = GetParam();
    sut_.SetWrapping(wrapping);
    sut_.SetSpeed(speed);

    SetText(TwentyCharacters);

    const Texts segments = MakeSegments(wrapping, Steps);
    EXPECT_EQ(display_.Take(), Texts{segments[0]}) << "at once";
    for (std::size_t i = 1; i <= Steps; ++i) {
        clock_->Advance(period - nanoseconds(1));
        EXPECT_EQ(display_.Take(), Texts{}) << "before step " << i;
        EXPECT_EQ(ShownAfter(nanoseconds(1), 1), Texts{segments[i]}) << "step " << i;
    }
    sut_.Terminate();
    EXPECT_EQ(ShownOnceStopped(), Texts{});
}

TEST_P(TickerCourseTest, CatchesUpWithWhatWasDueMeanwhile) {
    const auto& [speed, wrapping, period] = GetParam();
    sut_.SetWrapping(wrapping);
    sut_.SetSpeed(speed);
    SetText(TwentyCharacters);

    EXPECT_EQ(ShownAfter(7 * period, 8), MakeSegments(wrapping, 7));
}

INSTANTIATE_TEST_SUITE_P(
    All, TickerCourseTest,
    testing::Values(Course{0, Wrapping::Scroll, milliseconds(1000)}, Course{1, Wrapping::Scroll, milliseconds(400)},
                    Course{2, Wrapping::Scroll, milliseconds(100)}, Course{255, Wrapping::Scroll, milliseconds(400)},
                    Course{0, Wrapping::Pages, milliseconds(4000)}, Course{1, Wrapping::Pages, milliseconds(2000)},
                    Course{2, Wrapping::Pages, milliseconds(1000)}, Course{255, Wrapping::Pages, milliseconds(2000)},
                    Course{0, 255, milliseconds(1000)}, Course{2, 255, milliseconds(100)}),
    [](const auto& course) {
        return "Speed" + std::to_string(course.param.speed) + "Wrapping" + std::to_string(course.param.wrapping);
    });

class NoTickerTest : public TickerSequenceTest, public testing::WithParamInterface<unsigned> {};

TEST_P(NoTickerTest, ShowsTheFirstFourteenCharactersAtAnySpeed) {
    sut_.SetWrapping(Wrapping::NoTicker);
    sut_.SetSpeed(GetParam());

    SetText(TwentyCharacters);
    clock_->Advance(seconds(3600));

    EXPECT_EQ(ShownOnceStopped(), Texts{"ABCDEFGHIJKLMN"});
}

INSTANTIATE_TEST_SUITE_P(All, NoTickerTest, testing::Values(0U, 1U, 2U, 255U));

TEST_F(TickerSequenceTest, UmlautsAreOneCharacterEach) {
    sut_.SetWrapping(Wrapping::Scroll);
    SetText("\xDC\x62\x65r \xC4pfel und \xD6l");

    EXPECT_EQ(ShownAfter(seconds(2), 3),
              (Texts{"\xDC\x62\x65r \xC4pfel und", "\x62\x65r \xC4pfel und ", "\x65r \xC4pfel und \xD6"}));
}

TEST_F(TickerSequenceTest, RunningTickersTakeTheSettingsOfANewDownload) {
    SetText(TwentyCharacters, 1);
    SetText(TwentyCharacters, 2);
    ASSERT_EQ(display_.Take(), Texts(2, "ABCDEFGHIJKLMN"));

    sut_.SetWrapping(Wrapping::Scroll);
    sut_.SetSpeed(2);

    EXPECT_EQ(ShownAfter(seconds(4), 2), Texts(2, "BCDEFGHIJKLMNO")) << "the step that was due already";
    EXPECT_EQ(ShownAfter(milliseconds(100), 2), Texts(2, "CDEFGHIJKLMNOP"));
}

TEST_F(TickerSequenceTest, WithoutTickerARunningOneStandsStillAtItsBeginning) {
    SetText(TwentyCharacters);
    ASSERT_EQ(ShownAfter(seconds(4), 2), (Texts{"ABCDEFGHIJKLMN", "OPQRST"}));

    sut_.SetWrapping(Wrapping::NoTicker);

    EXPECT_EQ(ShownAfter(seconds(4), 1), Texts{"ABCDEFGHIJKLMN"});
    EXPECT_EQ(ShownAfter(seconds(1), 1), Texts{"ABCDEFGHIJKLMN"});
}

TEST_F(TickerSequenceTest, TerminateWaitsForTheStepThatIsUnderWay) {
    boost::promise<void> stepEntered;
    boost::promise<void> stepReleased;
    std::atomic<int> writes{0};
    std::atomic<bool> hasStepEnded{false};
    Zandrel::TickerThreadManager sut(
        log_.GetLogger(),
        [&](std::uint16_t, const KnxStyleString&) {
            if (++writes == 2) {
                stepEntered.set_value();
                stepReleased.get_future().wait();
                hasStepEnded = true;
            }
            return true;
        },
        clock_);
    sut.SetText(DisplayCo, KnxStyleString(TwentyCharacters));
    clock_->Advance(seconds(12));
    stepEntered.get_future().wait();
    boost::thread releaser([&] {
        const LogLine stopping{"DEBUG", "Terminate - Stopping all ticker threads."};
        while (log_.GetLines() != std::vector<LogLine>{stopping}) {
            boost::this_thread::yield();
        }
        stepReleased.set_value();
    });

    sut.Terminate();

    EXPECT_TRUE(hasStepEnded);
    const int written = writes;
    releaser.join();
    clock_->Advance(seconds(3600));
    EXPECT_EQ(ShownOnceStopped(), Texts{}) << "its thread is gone";
    EXPECT_EQ(writes, written);
}

TEST_F(TickerSequenceTest, AllObjectsAtOnceShowEachSegmentInTheirOrder) {
    static constexpr std::uint16_t CoCount = 520;
    static constexpr std::size_t Steps = 6;
    sut_.SetWrapping(Wrapping::Scroll);
    sut_.SetSpeed(2);
    for (std::uint16_t co = 1; co <= CoCount; ++co) {
        ASSERT_TRUE(SetText(TwentyCharacters, co)) << co;
    }
    EXPECT_EQ(CountThreads(), threadsAtStart_ + CoCount);

    clock_->Advance(Steps * milliseconds(100));

    ASSERT_TRUE(display_.WaitFor(CoCount * (Steps + 1)));
    const auto shown = display_.TakeByCo();
    ASSERT_EQ(shown.size(), CoCount);
    for (const auto& [co, texts] : shown) {
        EXPECT_EQ(texts, MakeSegments(Wrapping::Scroll, Steps)) << co;
    }
}

}  // namespace
