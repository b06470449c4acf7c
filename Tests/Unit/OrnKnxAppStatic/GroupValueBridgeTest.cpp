#include <atomic>
#include <boost/date_time/posix_time/posix_time_io.hpp>
#include <boost/thread/thread.hpp>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>

#include "GroupValueBridgeFixture.h"

namespace {

namespace posix_time = boost::posix_time;
using KnxStack::GroupValue;
using TestSupport::Co;
using TestSupport::IdOf;
using TestSupport::MakeGroupValue;
using TestSupport::Off;
using TestSupport::On;
using TestSupport::Power;
using TestSupport::Switch;
using TestSupport::Text;
using Zandrel::ZANVALUE;
using Written = TestSupport::FakeGroupValueService::Written;

const GroupValue PlusInfinity = MakeGroupValue({0x7F, 0x80, 0, 0});
const GroupValue MinusInfinity = MakeGroupValue({0xFF, 0x80, 0, 0});
const GroupValue NotANumber = MakeGroupValue({0x7F, 0xC0, 0, 0});

class GroupValueBridgeTest : public TestSupport::GroupValueBridgeFixture {};

/// The time zone of the process, for as long as it lives.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        const char* const earlier = std::getenv(Variable);
        if (earlier != nullptr) {
            earlier_ = earlier;
        }
        setenv(Variable, zone, 1);
        tzset();
    }
    ~TimeZone() {
        if (earlier_) {
            setenv(Variable, earlier_->c_str(), 1);
        } else {
            unsetenv(Variable);
        }
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    static constexpr const char* Variable = "TZ";

    std::optional<std::string> earlier_;
};

// From the bus to the device stack

TEST_F(GroupValueBridgeTest, ValueFromTheBusIsSetInTheDeviceStack) {
    EXPECT_TRUE(FromBus(On));

    EXPECT_EQ(sets_, (std::vector<Set>{{IdOf(Co), ZANVALUE::FromBoolean(true), false}}));
}

TEST_F(GroupValueBridgeTest, ResponseFromTheBusIsSetAsSuch) {
    EXPECT_TRUE(sut_.UpdateCoValue(Co, On, true));

    EXPECT_EQ(sets_, (std::vector<Set>{{IdOf(Co), ZANVALUE::FromBoolean(true), true}}));
}

TEST_F(GroupValueBridgeTest, ValueOfACoWithoutDataPointIsIgnoredSilently) {
    EXPECT_TRUE(FromBus(On, 521));
    EXPECT_TRUE(FromBus(On, 0));

    EXPECT_TRUE(sets_.empty());
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(GroupValueBridgeTest, ValueBeforeTheLogicalDeviceIsKnownIsIgnoredSilently) {
    const auto unknown = std::make_shared<Zandrel::AppIdentity>();
    Zandrel::GroupValueBridge sut(prefixedLog_, unknown, dpts_, writer_, tickers_);

    EXPECT_TRUE(sut.UpdateCoValue(Co, On, false));
    EXPECT_FALSE(sut.WriteValue(IdOf(Co), ZANVALUE::FromBoolean(true)));
    GroupValue value;
    EXPECT_FALSE(sut.OnGroupValueRead(Co, value));

    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(GroupValueBridgeTest, ValueWithoutAMessengerIsAnError) {
    sut_.SetMessengers({}, {});

    EXPECT_FALSE(FromBus(On));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] UpdateCoValue - No messenger available to set value"}}));
}

TEST_F(GroupValueBridgeTest, InfinityIsLoggedAndNotPassedOn) {
    SetDpt(Power);

    EXPECT_TRUE(FromBus(PlusInfinity));
    EXPECT_TRUE(FromBus(MinusInfinity));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"INFO", "[app] UpdateCoValue - Ignoring Infinity (not supported) from the KNX on CO 5: inf"},
                     {"INFO", "[app] UpdateCoValue - Ignoring Infinity (not supported) from the KNX on CO 5: -inf"}}));
    EXPECT_TRUE(sets_.empty());
}

TEST_F(GroupValueBridgeTest, NanIsPassedOn) {
    SetDpt(Power);

    EXPECT_TRUE(FromBus(NotANumber));

    ASSERT_EQ(sets_.size(), 1U);
    EXPECT_EQ(sets_[0].value.ToString(), "nan");
}

TEST_F(GroupValueBridgeTest, ValueThatCannotBeDecodedIsAnError) {
    SetDpt(Power);

    EXPECT_FALSE(FromBus(MakeGroupValue({0x0C, 0x00, 0xFF})));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] UpdateCoValue - Could not decode KNX group value 0c00ff"}}));
    EXPECT_TRUE(sets_.empty());
}

TEST_F(GroupValueBridgeTest, ValueOfACoWithoutTypeCannotBeDecoded) {
    EXPECT_FALSE(FromBus(On, 6));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] UpdateCoValue - Could not decode KNX group value 01"}}));
}

TEST_F(GroupValueBridgeTest, ValueThatTheDeviceStackRefusesIsAWarning) {
    deviceStackTakesValues_ = false;

    EXPECT_FALSE(sut_.UpdateCoValue(Co, On, true));

    EXPECT_EQ(
        log_.GetLines(),
        (Lines{{"WARN", "[app] UpdateCoValue - Error passing value to devicestack: ID '" + std::to_string(IdOf(Co))}}));
}

// From the device stack to the bus

TEST_F(GroupValueBridgeTest, ValueFromTheDeviceStackIsWrittenToTheBus) {
    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_EQ(Writes(), (std::vector<Written>{{Co, {1}}}));
    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "[app] WriteValue - Value to be written on CO5, 2 -> 1"}}));
}

TEST_F(GroupValueBridgeTest, StackGetsNoOptionsWithAWrite) {
    FromDeviceStack(ZANVALUE::FromBoolean(true));
    SetDpt(Text, 6);
    FromDeviceStack(ZANVALUE::FromText("Short"), 6);

    EXPECT_EQ(stack_.GroupValues().GetWriteOptions(), (std::vector<unsigned>{0, 0}));
}

TEST_F(GroupValueBridgeTest, ValueFromTheBusGetsThroughWhileOneIsWritten) {
    SetDpt(Text, 6);
    boost::thread_group telegrams;
    int passed = 0;
    stack_.GroupValues().OnWrite([this, &telegrams, &passed] {
        boost::thread* const telegram = telegrams.create_thread([this] { FromBus(On, 7); });
        passed += telegram->try_join_for(boost::chrono::seconds(10)) ? 1 : 0;
    });
    SetDpt(Switch, 7);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("Short"), 6));

    telegrams.join_all();
    EXPECT_EQ(passed, 2);
}

TEST_F(GroupValueBridgeTest, ResultIsThatOfTheStacksWrite) {
    stack_.GroupValues().RefuseWrites();

    EXPECT_FALSE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
}

TEST_F(GroupValueBridgeTest, EchoIsDroppedOnceAndASecondWriteIsWritten) {
    FromBus(On);
    log_.TakeLines();

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    EXPECT_EQ(log_.TakeLines(), (Lines{{"DEBUG",
                                        "RemoveEvent - Removing event (CO: 5, value: 2 -> 1, deathTime: "
                                        "2026-Mar-10 12:00:20)"},
                                       {"DEBUG", "[app] WriteValue - Drop echo on CO5, 2 -> 1"}}));
    EXPECT_TRUE(Writes().empty());

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    EXPECT_EQ(Writes(), (std::vector<Written>{{Co, {1}}}));
}

TEST_F(GroupValueBridgeTest, TwoIdenticalValuesFromTheBusHaveTwoEchoes) {
    FromBus(On);
    FromBus(On);

    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    }

    EXPECT_EQ(Writes().size(), 1U);
}

TEST_F(GroupValueBridgeTest, AnotherValueIsNoEcho) {
    FromBus(On);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(false)));

    EXPECT_EQ(Writes(), (std::vector<Written>{{Co, {0}}}));
}

TEST_F(GroupValueBridgeTest, EchoOfACodeThatIsNotCanonicalIsWrittenAsTheCanonicalOne) {
    SetDpt(TestSupport::Dpt(9, 1));
    FromBus(MakeGroupValue({0x09, 0xF4}));

    EXPECT_TRUE(FromDeviceStack(sets_.at(0).value));
    EXPECT_EQ(Writes(), (std::vector<Written>{{Co, {0x03, 0xE8}}}));

    FromBus(MakeGroupValue({0x03, 0xE8}));
    EXPECT_TRUE(FromDeviceStack(sets_.at(1).value));
    EXPECT_EQ(Writes().size(), 1U) << "the canonical code is known as an echo";
}

TEST_F(GroupValueBridgeTest, ResponseHasNoEcho) {
    sut_.UpdateCoValue(Co, On, true);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_EQ(Writes().size(), 1U);
}

TEST_F(GroupValueBridgeTest, EchoIsExpectedForTwentySecondsAfterThat) {
    FromBus(On);
    now_ += posix_time::seconds(20) - posix_time::microseconds(1);
    FromDeviceStack(ZANVALUE::FromBoolean(false));  // sweeps
    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    EXPECT_EQ(Writes().size(), 1U);

    FromBus(On);
    now_ += posix_time::seconds(20);
    FromDeviceStack(ZANVALUE::FromBoolean(false));
    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));
    EXPECT_EQ(Writes().size(), 3U);
}

TEST_F(GroupValueBridgeTest, ValueFromTheBusSweepsBeforeItIsAdded) {
    FromBus(On);
    now_ += posix_time::seconds(20);
    log_.TakeLines();

    FromBus(Off);

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG",
                                       "RemoveExpired - Expired event to be removed (CO: 5, value: 2 -> 1, "
                                       "deathTime: 2026-Mar-10 12:00:20)"},
                                      {"DEBUG",
                                       "AddEvent - Adding event (CO: 5, value: 2 -> 0, deathTime: "
                                       "2026-Mar-10 12:00:40)"}}));
}

TEST_F(GroupValueBridgeTest, ValueForTheBusSweepsOnceItIsNoEcho) {
    FromBus(On);
    now_ += posix_time::seconds(20);
    log_.TakeLines();

    FromDeviceStack(ZANVALUE::FromBoolean(false));

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "[app] WriteValue - Value to be written on CO5, 2 -> 0"},
                                      {"DEBUG",
                                       "RemoveExpired - Expired event to be removed (CO: 5, value: 2 -> 1, "
                                       "deathTime: 2026-Mar-10 12:00:20)"}}));
}

TEST_F(GroupValueBridgeTest, EchoIsExpectedByTheLocalWallClock) {
    const TimeZone fiveHoursAhead("TEST-5");
    Zandrel::GroupValueBridge sut(prefixedLog_, identity_, dpts_, writer_, tickers_);
    sut.SetMessengers([](unsigned long, const ZANVALUE&, bool) { return true; }, nullptr);
    const auto before = posix_time::microsec_clock::universal_time();

    EXPECT_TRUE(sut.UpdateCoValue(Co, On, false));

    const std::string start = "AddEvent - Adding event (CO: 5, value: 2 -> 1, deathTime: ";
    const std::string line = log_.GetLines().at(0).text;
    ASSERT_EQ(line.substr(0, start.size()), start);
    std::istringstream text(line.substr(start.size()));
    posix_time::ptime deathTime;
    text >> deathTime;
    const auto earliest = before + posix_time::hours(5) + posix_time::seconds(20);
    EXPECT_GE(deathTime, earliest);
    EXPECT_LE(deathTime, earliest + posix_time::minutes(1));
}

TEST_F(GroupValueBridgeTest, UnsweptEntryPastItsTimeStillDropsTheEcho) {
    FromBus(On);
    now_ += posix_time::hours(1);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, DataPointOfNoCoIsIgnoredSilently) {
    EXPECT_FALSE(sut_.WriteValue(1, ZANVALUE::FromBoolean(true)));
    EXPECT_FALSE(
        sut_.WriteValue(Zandrel::KnxOdsMapping::GetCoValueObjModelId(Co, 2).value(), ZANVALUE::FromBoolean(true)));

    EXPECT_EQ(log_.GetLines(), Lines{});
    EXPECT_EQ(globalLog_.GetLines(), Lines{});
    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, WithoutGroupObjectsNothingIsWritten) {
    access_.Detach();

    EXPECT_FALSE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(GroupValueBridgeTest, ValueThatDoesNotConvertIsFatal) {
    EXPECT_FALSE(FromDeviceStack(ZANVALUE::FromText("it's on")));

    EXPECT_THAT(globalLog_.GetLines(),
                testing::ElementsAre(GlobalLine("FATAL", "WriteValue", "GroupValueBridge",
                                                "This ZANVALUE does not convert to a valid GroupValue for the CO 5 "
                                                "(DPT 65537): '5 -> it's on'")));
    EXPECT_EQ(log_.GetLines(), Lines{});
    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, GroupObjectThatMayNotBeWrittenIsLeftAlone) {
    stack_.GroupValues().Object(Co).SetMayBeWritten(false);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, MissingGroupObjectMayNotBeWritten) {
    stack_.GroupValues().Remove(Co);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromBoolean(true)));

    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, ShortTextIsWrittenAtOnce) {
    SetDpt(Text);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("Gr\xC3\xBC\xC3\x9F Gott")));

    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"Gr\xFC\xDF Gott"}));
}

TEST_F(GroupValueBridgeTest, LongTextIsHandedToATicker) {
    SetDpt(Text);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));
    clock_->Advance(boost::chrono::seconds(4));

    ASSERT_TRUE(stack_.GroupValues().WaitForWrites(2));
    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"ABCDEFGHIJKLMN", "OP"}));
}

TEST_F(GroupValueBridgeTest, TickerDoesNotOutliveATypeThatChangesWhileItStarts) {
    SetDpt(Text);
    stack_.GroupValues().OnWrite([this] { SetDpt(Switch); });

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));

    bool isTicking = false;
    tickers_.Stop([&isTicking](std::uint16_t) { return isTicking = true; });
    EXPECT_FALSE(isTicking);
}

TEST_F(GroupValueBridgeTest, EchoOfACutTextIsDropped) {
    SetDpt(Text);
    const std::string cut = "ABCDEFGHIJKLMN";
    FromBus(MakeGroupValue({cut.begin(), cut.end()}));

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));

    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, TextThatIsNotUtf8IsRefused) {
    SetDpt(Text);

    EXPECT_FALSE(FromDeviceStack(ZANVALUE::FromText("Gr\xFC\xDF Gott")));

    EXPECT_THAT(globalLog_.GetLines(),
                testing::ElementsAre(GlobalLine("ERROR", "WriteValue", "GroupValueBridge",
                                                "Cannot convert a non-UTF8 string to Latin-1 for writing to the KNX")));
    EXPECT_TRUE(Writes().empty());
}

TEST_F(GroupValueBridgeTest, CharactersOutsideLatin1AreReplaced) {
    SetDpt(Text);

    EXPECT_TRUE(FromDeviceStack(ZANVALUE::FromText("5 \xE2\x82\xAC")));

    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"5 ?"}));
}

TEST_F(GroupValueBridgeTest, TextForACoThatTakesNoneAnyMoreIsFatal) {
    EXPECT_FALSE(writer_.WriteText(Co, Zandrel::KnxStyleString("ABC")));

    EXPECT_THAT(globalLog_.GetLines(),
                testing::ElementsAre(GlobalLine("FATAL", "WriteText", "GroupObjectWriter",
                                                "This ZANVALUE does not convert to a valid GroupValue for the CO 5 "
                                                "(DPT 65537): '5 -> ABC'")));
}

// Many at once

TEST_F(GroupValueBridgeTest, CallUnderWayKeepsTheMessengerItBeganWith) {
    const auto messenger = std::make_shared<int>(42);
    std::atomic<bool> called{false};
    std::atomic<bool> release{false};
    sut_.SetMessengers(
        [messenger, &called, &release](unsigned long, const ZANVALUE&, bool) {
            called = true;
            while (!release) {
                boost::this_thread::yield();
            }
            return *messenger == 42;
        },
        nullptr);
    bool result = false;
    boost::thread telegram([&] { result = FromBus(On); });
    while (!called) {
        boost::this_thread::yield();
    }

    sut_.SetMessengers({}, {});
    release = true;
    telegram.join();

    EXPECT_TRUE(result);
    EXPECT_EQ(messenger.use_count(), 1);
}

TEST_F(GroupValueBridgeTest, EchoesAreDroppedWhileTelegramsArriveFromManyThreads) {
    log_.GetLogger().setLogLevel(log4cplus::INFO_LOG_LEVEL);
    sut_.SetMessengers([](unsigned long, const ZANVALUE&, bool) { return true; }, nullptr);
    boost::thread_group threads;
    for (std::uint16_t co = 1; co <= 4; ++co) {
        SetDpt(Switch, co);
        threads.create_thread([this, co] {
            for (int i = 0; i < 500; ++i) {
                FromBus(i % 2 == 0 ? Off : On, co);
                FromDeviceStack(ZANVALUE::FromBoolean(i % 2 != 0), co);
            }
        });
    }
    threads.join_all();

    EXPECT_TRUE(Writes().empty());
}

}  // namespace
