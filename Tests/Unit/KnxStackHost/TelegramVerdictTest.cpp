#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>
#include <functional>

#include "EventRecorder.h"
#include "GroupObjects/GroupObjectService.h"
#include "Output/EventText.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using KnxStack::GroupValue;
using TestDevice::Dpt;
using TestDevice::GroupAddress;
using testing::ElementsAre;
using testing::IsEmpty;

void Say(log4cplus::LogLevel level, const std::string& line) {
    GetApplicationLogger().forcedLog(level, line);
}

/// Says something, and then yes or no.
class AnsweringApplication : public KnxStack::IGroupValueUser {
public:
    explicit AnsweringApplication(std::function<bool()> answer) : answer_(std::move(answer)) {}

    bool OnGroupValueWrite(std::uint32_t, const GroupValue&) override { return answer_(); }
    bool OnGroupValueResponse(std::uint32_t, const GroupValue&) override { return answer_(); }
    bool OnGroupValueRead(std::uint32_t, GroupValue& value, bool) override {
        value = GroupValue({7});
        return answer_();
    }

private:
    const std::function<bool()> answer_;
};

/// What a person sees of each telegram where the reason is known to the application alone.
class TelegramVerdictTest : public testing::Test {
protected:
    TelegramVerdictTest() {
        sut.LoadObjects(&device);
        sut.LoadAssociations(&device);
        sut.SetOnline(true);
    }

    /// The verdicts on one telegram from the bus while the application answers like this.
    std::vector<std::string> Deliver(GroupService service, std::function<bool()> answer) {
        AnsweringApplication application(std::move(answer));
        sut.RegisterUser(application);
        Telegram telegram;
        telegram.service = service;
        telegram.groupAddress = GroupAddress(1, 0, 2);
        if (service != GroupService::Read) {
            telegram.data = {7};
        }
        sut.OnTelegram(telegram);
        recorder.WaitFor<TelegramEvent>(1);
        sut.UnregisterUser(application);
        return GetVerdicts();
    }

    std::vector<std::string> GetVerdicts() {
        std::vector<std::string> verdicts;
        for (const auto& event : recorder.Get<TelegramEvent>()) {
            verdicts.push_back(std::to_string(event.number) + " " + ToText(event.verdict) + ": " + event.reason);
        }
        return verdicts;
    }

    /// The lines of the telegrams, from the group address on.
    std::vector<std::string> GetLines() {
        std::vector<std::string> lines;
        for (const auto& event : recorder.Get<TelegramEvent>()) {
            lines.push_back(FormatEvent({{}, event}, false).substr(13));
        }
        return lines;
    }

    const DeviceDescription device = TestDevice::Make({
        TestDevice::Object(2, Dpt(5, 10), "CRWTU", {GroupAddress(1, 0, 2)}),
        TestDevice::Object(3, Dpt(5, 10), "RWTU", {GroupAddress(1, 0, 3)}),
        TestDevice::Object(4, Dpt(9, 1), "CT", {}),
        TestDevice::Object(16, Dpt(16, 1), "CT", {GroupAddress(1, 0, 16)}),
    });
    HostEvents events;
    EventRecorder recorder{events};
    GroupObjectService sut{events};
};

TEST_F(TelegramVerdictTest, ARefusalSaysWhyTheApplicationRefuses) {
    EXPECT_THAT(Deliver(GroupService::Write,
                        [] {
                            Say(log4cplus::DEBUG_LOG_LEVEL, "[App] UpdateCoValue - thinking");
                            Say(log4cplus::ERROR_LOG_LEVEL,
                                "[App] UpdateCoValue - Could not decode KNX group value 07");
                            Say(log4cplus::DEBUG_LOG_LEVEL, "[App] UpdateCoValue - done");
                            return false;
                        }),
                ElementsAre("2 refused: the application says: Could not decode KNX group value 07"));
    EXPECT_EQ(sut.GetCounters().refused, 1U);
}

TEST_F(TelegramVerdictTest, ARefusalWithoutAWordIsByTheApplication) {
    EXPECT_THAT(Deliver(GroupService::Response, [] { return false; }), ElementsAre("2 refused: by the application"));
}

TEST_F(TelegramVerdictTest, WhatIsTakenWithARemarkIsIgnored) {
    EXPECT_THAT(Deliver(GroupService::Write,
                        [] {
                            Say(log4cplus::INFO_LOG_LEVEL, "[App] UpdateCoValue - Ignoring Infinity");
                            return true;
                        }),
                ElementsAre("2 ignored: the application says: Ignoring Infinity"));
    EXPECT_EQ(sut.GetCounters().ignored, 1U);
    EXPECT_EQ(sut.GetCounters().taken, 0U);
}

TEST_F(TelegramVerdictTest, WhatIsTakenWithoutMoreThanATraceIsTaken) {
    EXPECT_THAT(Deliver(GroupService::Write,
                        [] {
                            Say(log4cplus::DEBUG_LOG_LEVEL, "[App] AddEvent - Adding event");
                            return true;
                        }),
                ElementsAre("2 taken: "));
}

TEST_F(TelegramVerdictTest, WhatOtherThreadsSayIsNoReason) {
    EXPECT_THAT(Deliver(GroupService::Write,
                        [] {
                            boost::thread other([] { Say(log4cplus::ERROR_LOG_LEVEL, "[App] Tick - something else"); });
                            other.join();
                            return true;
                        }),
                ElementsAre("2 taken: "));
}

TEST_F(TelegramVerdictTest, WhatWasSaidInAnEarlierCallIsNoReason) {
    Deliver(GroupService::Write, [] {
        Say(log4cplus::ERROR_LOG_LEVEL, "[App] UpdateCoValue - first");
        return false;
    });
    Say(log4cplus::ERROR_LOG_LEVEL, "[App] Init - between the calls");
    AnsweringApplication application([] { return true; });
    sut.RegisterUser(application);
    Telegram telegram;
    telegram.groupAddress = GroupAddress(1, 0, 2);
    telegram.service = GroupService::Write;
    telegram.data = {7};
    sut.OnTelegram(telegram);
    recorder.WaitFor<TelegramEvent>(2);
    sut.UnregisterUser(application);
    EXPECT_THAT(GetVerdicts(), ElementsAre("2 refused: the application says: first", "2 taken: "));
}

TEST_F(TelegramVerdictTest, AReadThatStaysSilentSaysWhy) {
    EXPECT_THAT(Deliver(GroupService::Read,
                        [] {
                            Say(log4cplus::ERROR_LOG_LEVEL, "[App] OnGroupValueRead - Request timed out.");
                            return false;
                        }),
                ElementsAre("2 silent: the application says: Request timed out."));
}

TEST_F(TelegramVerdictTest, AnEchoThatTheApplicationDropsIsATelegramLine) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo on CO2, 3 -> 128");
    EXPECT_THAT(GetLines(),
                ElementsAre("<- write    1/0/2     CO 2   Object 2             5.010   128 [80]  echo: not sent back"));
    EXPECT_EQ(sut.GetCounters().echo, 1U);
}

TEST_F(TelegramVerdictTest, AnEchoBeforeTheApplicationHasAnIdIsATelegramLineToo) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "WriteValue - Drop echo on CO4, 4 -> 20.48");
    EXPECT_THAT(
        GetLines(),
        ElementsAre("<- write    -         CO 4   Object 4             9.001   20.48 [0c00]  echo: not sent back"));
}

TEST_F(TelegramVerdictTest, AnEchoOfATextKeepsWhatLooksLikeThePartsOfALine) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo on CO16, 5 -> a - b -> c, d");
    ASSERT_EQ(recorder.Get<TelegramEvent>().size(), 1U);
    EXPECT_THAT(GetLines().front(), testing::HasSubstr("a - b -> c, d ["));
}

TEST_F(TelegramVerdictTest, AWriteThatIsPassedOnIsNoLineOfItsOwn) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Value to be written on CO2, 3 -> 128");
    EXPECT_THAT(GetLines(), IsEmpty());
}

TEST_F(TelegramVerdictTest, AWriteToAnObjectThatMayNotBeWrittenIsRefused) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Value to be written on CO3, 3 -> 128");
    EXPECT_THAT(GetLines(), ElementsAre("<- write    1/0/3     CO 3   Object 3             5.010   128 [80]  refused: "
                                        "no communication flag"));
    EXPECT_EQ(sut.GetCounters().refused, 1U);
}

TEST_F(TelegramVerdictTest, AWriteThatDoesNotConvertIsRefused) {
    Say(log4cplus::FATAL_LOG_LEVEL,
        "WriteValue (OrnKnxAppStatic/GroupValueBridge:7) - This ZANVALUE does not convert to a valid GroupValue for "
        "the CO 2 (DPT 327690): '5 -> abc'");
    EXPECT_THAT(GetLines(),
                ElementsAre("<- write    1/0/2     CO 2   Object 2             5.010   -- []  refused: the application "
                            "says: This ZANVALUE does not convert to a valid GroupValue for the CO 2 (DPT 327690): "
                            "'5 -> abc'"));
}

TEST_F(TelegramVerdictTest, ATextThatIsNotUtf8IsRefusedOnItsObject) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Value to be written on CO16, 5 -> \xFF");
    Say(log4cplus::ERROR_LOG_LEVEL,
        "WriteValue (OrnKnxAppStatic/GroupValueBridge:7) - Cannot convert a non-UTF8 string to Latin-1 for writing to "
        "the KNX");
    EXPECT_THAT(GetVerdicts(), ElementsAre("16 refused: the application says: Cannot convert a non-UTF8 string to "
                                           "Latin-1 for writing to the KNX"));
}

TEST_F(TelegramVerdictTest, LinesAboutNoObjectOfTheDeviceAreNoTelegrams) {
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo on CO500, 3 -> 128");
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo on CO99999, 3 -> 128");
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo on CO");
    Say(log4cplus::DEBUG_LOG_LEVEL, "[App] WriteValue - Drop echo");
    Say(log4cplus::DEBUG_LOG_LEVEL, "");
    EXPECT_THAT(GetLines(), IsEmpty());
}

}  // namespace
}  // namespace LocalDevice
