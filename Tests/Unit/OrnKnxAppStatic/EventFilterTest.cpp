#include "EventFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "CapturingAppender.h"
#include "FakeKnxStack.h"

namespace {

namespace posix_time = boost::posix_time;
using posix_time::ptime;
using TestSupport::LogCapture;
using TestSupport::LogLine;
using TestSupport::MakeGroupValue;
using Zandrel::EventFilter;
using Zandrel::FilterEntry;
using Lines = std::vector<LogLine>;

constexpr std::uint32_t SwitchDpt = (1U << 16U) | 1U;
constexpr std::uint32_t PercentDpt = (5U << 16U) | 1U;
constexpr std::uint32_t CounterDpt = (5U << 16U) | 10U;
constexpr std::uint32_t PowerDpt = (14U << 16U) | 56U;

const ptime Noon{boost::gregorian::date(2026, 3, 10), posix_time::hours(12)};

KnxStack::GroupValue Float(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return MakeGroupValue({static_cast<std::uint8_t>(bits >> 24U), static_cast<std::uint8_t>(bits >> 16U),
                           static_cast<std::uint8_t>(bits >> 8U), static_cast<std::uint8_t>(bits)});
}

/// An entry that was added at `now`.
FilterEntry Entry(std::uint16_t co, std::uint32_t dpt, KnxStack::GroupValue value, ptime now = Noon) {
    return {co, dpt, std::move(value), now + posix_time::seconds(20)};
}

FilterEntry SwitchOn(std::uint16_t co = 5, ptime now = Noon) {
    return Entry(co, SwitchDpt, MakeGroupValue({1}), now);
}

class EventFilterTest : public testing::Test {
protected:
    /// Whether an echo `second` of the value `first` is recognised.
    bool Matches(const FilterEntry& first, const FilterEntry& second) {
        EventFilter filter(log_.GetLogger());
        filter.AddEvent(first);
        return filter.RemoveEvent(second);
    }
    bool Matches(float first, float second) {
        return Matches(Entry(1, PowerDpt, Float(first)), Entry(1, PowerDpt, Float(second)));
    }

    LogCapture log_;
    EventFilter sut_{log_.GetLogger()};
};

TEST_F(EventFilterTest, TwoIdenticalValuesAreTwoEntriesOfWhichEachMatchesOnce) {
    sut_.AddEvent(SwitchOn());
    sut_.AddEvent(SwitchOn());

    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn()));
    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn()));
    EXPECT_FALSE(sut_.RemoveEvent(SwitchOn()));
}

TEST_F(EventFilterTest, FloatsThatPrintTheSameWithSixDecimalsMatch) {
    EXPECT_TRUE(Matches(21.5F, 21.4999999F));
    EXPECT_TRUE(Matches(0.1234561F, 0.1234562F));
    EXPECT_TRUE(Matches(1e-7F, 2e-7F));
    EXPECT_TRUE(Matches(std::numeric_limits<float>::max(), std::numeric_limits<float>::max()));
}

TEST_F(EventFilterTest, FloatsThatPrintDifferentlyDoNotMatch) {
    EXPECT_FALSE(Matches(21.5F, 21.500002F));
    EXPECT_FALSE(Matches(0.0F, -0.0F));
    EXPECT_FALSE(Matches(1e-6F, 2e-6F));
    EXPECT_FALSE(Matches(std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()));
}

TEST_F(EventFilterTest, AllNansAreOneValue) {
    const auto quiet = MakeGroupValue({0x7F, 0xC0, 0x00, 0x00});
    const auto negativeWithPayload = MakeGroupValue({0xFF, 0xC0, 0x00, 0x2A});

    EXPECT_TRUE(Matches(Entry(1, PowerDpt, quiet), Entry(1, PowerDpt, negativeWithPayload)));
    EXPECT_FALSE(Matches(Entry(1, PowerDpt, quiet), Entry(1, PowerDpt, Float(0))));
}

TEST_F(EventFilterTest, FloatOfAWrongLengthIsComparedByItsBytes) {
    const auto threeBytes = MakeGroupValue({0x41, 0xAC, 0x00});

    EXPECT_TRUE(Matches(Entry(1, PowerDpt, threeBytes), Entry(1, PowerDpt, threeBytes)));
    EXPECT_FALSE(Matches(Entry(1, PowerDpt, threeBytes), Entry(1, PowerDpt, Float(21.5F))));
}

TEST_F(EventFilterTest, SameValueOnAnotherCoNeverMatches) {
    EXPECT_FALSE(Matches(SwitchOn(5), SwitchOn(6)));
    EXPECT_FALSE(Matches(Entry(1, PowerDpt, Float(1)), Entry(2, PowerDpt, Float(1))));
}

TEST_F(EventFilterTest, SameBytesUnderAnotherDptNeverMatch) {
    EXPECT_FALSE(Matches(Entry(5, PercentDpt, MakeGroupValue({1})), SwitchOn()));
    EXPECT_FALSE(Matches(Entry(5, PercentDpt, MakeGroupValue({1})), Entry(5, CounterDpt, MakeGroupValue({1}))));
}

TEST_F(EventFilterTest, BytesOfAnotherLengthOrContentNeverMatch) {
    EXPECT_FALSE(Matches(SwitchOn(), Entry(5, SwitchDpt, MakeGroupValue({0}))));
    EXPECT_FALSE(Matches(SwitchOn(), Entry(5, SwitchDpt, MakeGroupValue({1, 0}))));
    EXPECT_FALSE(Matches(SwitchOn(), Entry(5, SwitchDpt, MakeGroupValue({}))));
}

TEST_F(EventFilterTest, DeathTimeOfTheProbeDoesNotCount) {
    FilterEntry probe = SwitchOn();
    probe.deathTime = ptime();

    EXPECT_TRUE(Matches(SwitchOn(), probe));
}

TEST_F(EventFilterTest, EntryWhoseDeathTimeEqualsTheSweepTimeIsRemoved) {
    sut_.AddEvent(SwitchOn());

    sut_.RemoveExpired(Noon + posix_time::seconds(20) - posix_time::microseconds(1));
    EXPECT_EQ(sut_.GetSize(), 1U);
    sut_.RemoveExpired(Noon + posix_time::seconds(20));
    EXPECT_EQ(sut_.GetSize(), 0U);
}

TEST_F(EventFilterTest, EntryPastItsDeathTimeMatchesUntilItIsSwept) {
    sut_.AddEvent(SwitchOn(5, Noon));
    sut_.AddEvent(SwitchOn(6, Noon + posix_time::hours(1)));

    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn(5, Noon + posix_time::hours(1))));
}

TEST_F(EventFilterTest, OldestOfSeveralMatchesIsRemoved) {
    sut_.AddEvent(SwitchOn(5, Noon));
    sut_.AddEvent(SwitchOn(5, Noon - posix_time::seconds(10)));
    log_.TakeLines();

    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn()));
    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn()));

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG",
                                       "RemoveEvent - Removing event (CO: 5, value: 2 -> 1, deathTime: "
                                       "2026-Mar-10 12:00:20)"},
                                      {"DEBUG",
                                       "RemoveEvent - Removing event (CO: 5, value: 2 -> 1, deathTime: "
                                       "2026-Mar-10 12:00:10)"}}));
}

TEST_F(EventFilterTest, AddedEventIsLogged) {
    sut_.AddEvent(Entry(12, PowerDpt, Float(21.5F), Noon + posix_time::microseconds(1250)));

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG",
                                       "AddEvent - Adding event (CO: 12, value: 4 -> 21.5, deathTime: "
                                       "2026-Mar-10 12:00:20.001250)"}}));
}

TEST_F(EventFilterTest, ValueThatDoesNotConvertPrintsAsDashes) {
    sut_.AddEvent(Entry(12, PowerDpt, MakeGroupValue({1, 2})));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"DEBUG", "AddEvent - Adding event (CO: 12, value: --, deathTime: 2026-Mar-10 12:00:20)"}}));
}

TEST_F(EventFilterTest, MissIsNotLogged) {
    EXPECT_FALSE(sut_.RemoveEvent(SwitchOn()));

    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(EventFilterTest, ExpiredEventsAreLoggedAndRemovedInTheOrderInWhichTheyWereAdded) {
    sut_.AddEvent(SwitchOn(1, Noon + posix_time::seconds(2)));
    sut_.AddEvent(SwitchOn(2, Noon + posix_time::seconds(9)));
    sut_.AddEvent(SwitchOn(3, Noon));  // the clock was set back
    sut_.AddEvent(SwitchOn(4, Noon + posix_time::seconds(1)));
    log_.TakeLines();

    sut_.RemoveExpired(Noon + posix_time::seconds(22));

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG",
                                       "RemoveExpired - Expired event to be removed (CO: 1, value: 2 -> 1, "
                                       "deathTime: 2026-Mar-10 12:00:22)"},
                                      {"DEBUG",
                                       "RemoveExpired - Expired event to be removed (CO: 3, value: 2 -> 1, "
                                       "deathTime: 2026-Mar-10 12:00:20)"},
                                      {"DEBUG",
                                       "RemoveExpired - Expired event to be removed (CO: 4, value: 2 -> 1, "
                                       "deathTime: 2026-Mar-10 12:00:21)"}}));
    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn(2)));
    EXPECT_EQ(sut_.GetSize(), 0U);
}

TEST_F(EventFilterTest, RemainingEqualEntriesKeepTheirOrder) {
    sut_.AddEvent(SwitchOn(5, Noon + posix_time::seconds(3)));
    sut_.AddEvent(SwitchOn(5, Noon));
    sut_.AddEvent(SwitchOn(5, Noon + posix_time::seconds(2)));
    sut_.RemoveExpired(Noon + posix_time::seconds(20));
    log_.TakeLines();

    sut_.RemoveEvent(SwitchOn());

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG",
                                       "RemoveEvent - Removing event (CO: 5, value: 2 -> 1, deathTime: "
                                       "2026-Mar-10 12:00:23)"}}));
}

TEST_F(EventFilterTest, EntryFromBeforeTheClockWasSetBackLivesForOneMoreLifetime) {
    sut_.AddEvent(SwitchOn(1, Noon));
    sut_.AddEvent(SwitchOn(2, Noon));
    sut_.RemoveExpired(Noon - posix_time::hours(1));
    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn(1)));

    sut_.RemoveExpired(Noon - posix_time::hours(1) + posix_time::seconds(20) - posix_time::microseconds(1));
    EXPECT_EQ(sut_.GetSize(), 1U);
    sut_.RemoveExpired(Noon - posix_time::hours(1) + posix_time::seconds(20));
    EXPECT_EQ(sut_.GetSize(), 0U);
}

TEST_F(EventFilterTest, EntryOfThisMomentOutlivesASmallStepBackOfTheClock) {
    sut_.AddEvent(SwitchOn(1, Noon));

    sut_.RemoveExpired(Noon);

    EXPECT_TRUE(sut_.RemoveEvent(SwitchOn(1)));
}

TEST_F(EventFilterTest, ClockThatIsSetBackAgainAndAgainDoesNotMakeItGrow) {
    log_.GetLogger().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    ptime now = Noon;
    std::size_t largest = 0;
    for (int i = 0; i < 10'000; ++i) {
        now += i % 100 == 99 ? -posix_time::hours(1) : posix_time::seconds(1);
        sut_.RemoveExpired(now);
        sut_.AddEvent(SwitchOn(static_cast<std::uint16_t>(1 + i % 520), now));
        largest = std::max(largest, sut_.GetSize());
    }

    EXPECT_LE(largest, 40U);  // those of one lifetime before a step and of one after it
}

/// The rules, as plainly as they can be written.
class ReferenceFilter {
public:
    void Add(const FilterEntry& entry) { entries_.push_back(entry); }

    bool Remove(const FilterEntry& probe) {
        const auto found = std::find_if(entries_.begin(), entries_.end(),
                                        [&](const FilterEntry& entry) { return IsSame(entry, probe); });
        if (found == entries_.end()) {
            return false;
        }
        entries_.erase(found);
        return true;
    }

    std::vector<FilterEntry> RemoveExpired(ptime now) {
        std::vector<FilterEntry> expired;
        std::vector<FilterEntry> alive;
        for (FilterEntry& entry : entries_) {
            entry.deathTime = std::min<ptime>(entry.deathTime, now + posix_time::seconds(20));
            (entry.deathTime > now ? alive : expired).push_back(entry);
        }
        entries_ = alive;
        return expired;
    }

    std::size_t GetSize() const { return entries_.size(); }

private:
    static bool IsSame(const FilterEntry& a, const FilterEntry& b) {
        if (a.co != b.co || a.dpt != b.dpt) {
            return false;
        }
        if (a.dpt == PowerDpt) {
            return std::to_string(a.value.GetFloatValue()) == std::to_string(b.value.GetFloatValue());
        }
        return a.value == b.value;
    }

    std::vector<FilterEntry> entries_;
};

TEST_F(EventFilterTest, BehavesLikeAListThatIsScanned) {
    std::mt19937 random(4711);
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    const auto anyEntry = [&](ptime now) {
        const auto co = static_cast<std::uint16_t>(1 + below(3));
        const auto value = static_cast<std::uint8_t>(below(3));
        return below(2) == 0 ? Entry(co, SwitchDpt, MakeGroupValue({value}), now)
                             : Entry(co, PowerDpt, Float(static_cast<float>(value) * 4e-7F), now);
    };
    ReferenceFilter reference;
    ptime now = Noon;
    for (int i = 0; i < 20'000; ++i) {
        now += below(50) == 0 ? posix_time::microseconds(1'000'000L * below(60) - 30'000'000L)
                              : posix_time::microseconds(below(2'000'000));
        switch (below(4)) {
            case 0: {
                const FilterEntry probe = anyEntry(now);
                ASSERT_EQ(sut_.RemoveEvent(probe), reference.Remove(probe)) << "step " << i;
                break;
            }
            case 1: {
                log_.TakeLines();
                sut_.RemoveExpired(now);
                ASSERT_EQ(log_.TakeLines().size(), reference.RemoveExpired(now).size()) << "step " << i;
                break;
            }
            default: {
                const FilterEntry entry = anyEntry(now);
                sut_.AddEvent(entry);
                reference.Add(entry);
                break;
            }
        }
        ASSERT_EQ(sut_.GetSize(), reference.GetSize()) << "step " << i;
    }
}

}  // namespace
