#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "EventRecorder.h"
#include "Output/EventJson.h"
#include "Output/EventText.h"
#include "Output/LifePrinter.h"
#include "Output/PluginLog.h"
#include "TemporaryFolder.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using TestDevice::Dpt;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

TelegramEvent MakeTelegramEvent() {
    TelegramEvent event;
    event.telegram.service = GroupService::Write;
    event.telegram.source = 0x1101;
    event.telegram.groupAddress = TestDevice::GroupAddress(1, 0, 3);
    event.telegram.data = {0x0C, 0x00};
    event.number = 3;
    event.name = "Brightness";
    event.dpt = Dpt(9, 4);
    event.value = KnxStack::GroupValue({0x0C, 0x00});
    return event;
}

std::string Format(HostEvent::Body body, bool isColoured = false) {
    const std::string line = FormatEvent({{}, std::move(body)}, isColoured);
    return isColoured ? line : line.substr(13);  // without the time
}

TEST(EventTextTest, ATimeHasMilliseconds) {
    EXPECT_THAT(FormatTime(std::chrono::system_clock::time_point(std::chrono::milliseconds(7))),
                MatchesRegex("[0-2][0-9]:[0-5][0-9]:00\\.007"));
}

/// The clock of a place on earth, in the form of the variable TZ.
class TimeZone {
public:
    explicit TimeZone(const char* zone) { Set(zone); }
    ~TimeZone() { Set("UTC0"); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    static void Set(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

std::string FormatTimeAt(std::int64_t millisecondsSinceEpoch) {
    return FormatTime(std::chrono::system_clock::time_point(std::chrono::milliseconds(millisecondsSinceEpoch)));
}

TEST(EventTextTest, ATimeIsThatOfThePlaceInSummerAndInWinter) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(FormatTimeAt(1'768'478'400'000), "13:00:00.000");  // 2026-01-15 12:00 UTC
    EXPECT_EQ(FormatTimeAt(1'784'116'800'999), "14:00:00.999");  // 2026-07-15 12:00 UTC
}

TEST(EventTextTest, ATimeBefore1970IsOneToo) {
    const TimeZone zone("UTC0");
    EXPECT_EQ(FormatTimeAt(-1), "23:59:59.999");
    EXPECT_EQ(FormatTimeAt(-1000), "23:59:59.000");
    EXPECT_EQ(FormatTimeAt(-86'400'000 * std::int64_t{3653}), "00:00:00.000");  // 1960-01-01
}

TEST(EventTextTest, ATimeAfter2038IsOneToo) {
    const TimeZone zone("UTC0");
    const std::string time = FormatTimeAt(std::int64_t{4'102'490'096'789});  // 2100-01-01 12:34:56.789
    if (sizeof(std::time_t) > 4) {
        EXPECT_EQ(time, "12:34:56.789");
    } else {
        EXPECT_THAT(time, MatchesRegex("[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.789"));
    }
}

TEST(EventTextTest, ATelegramIsOneLine) {
    EXPECT_EQ(Format(MakeTelegramEvent()),
              "-> write    1/0/3     CO 3   Brightness           9.004   20.48 [0c00]  taken");
}

TEST(EventTextTest, ARefusalSaysWhy) {
    auto event = MakeTelegramEvent();
    event.value.reset();
    event.verdict = Verdict::Refused;
    event.reason = "no write flag";
    EXPECT_EQ(Format(event),
              "-> write    1/0/3     CO 3   Brightness           9.004   -- [0c00]  refused: no write flag");
}

TEST(EventTextTest, AnEchoIsAWriteOfTheApplication) {
    auto event = MakeTelegramEvent();
    event.isIncoming = false;
    event.verdict = Verdict::Echo;
    event.reason = "not sent back";
    EXPECT_EQ(Format(event),
              "<- write    1/0/3     CO 3   Brightness           9.004   20.48 [0c00]  echo: not sent back");
}

TEST(EventTextTest, AReadHasNoValue) {
    auto event = MakeTelegramEvent();
    event.isIncoming = false;
    event.telegram.service = GroupService::Read;
    event.telegram.data.clear();
    event.value.reset();
    event.verdict = Verdict::Sent;
    EXPECT_EQ(Format(event), "<- read     1/0/3     CO 3   Brightness           9.004   sent");
}

TEST(EventTextTest, AValueWithoutAddressAndWithControlCharactersStaysOneLine) {
    auto event = MakeTelegramEvent();
    event.isIncoming = false;
    event.telegram.groupAddress = 0;
    event.dpt = Dpt(16, 1);
    event.telegram.data = {'a', '\n', 'b', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    event.value = KnxStack::GroupValue(event.telegram.data);
    event.verdict = Verdict::Kept;
    EXPECT_EQ(Format(event),
              "<- write    -         CO 3   Brightness           16.001  a\\nb [610a620000000000000000000000]  kept");
}

TEST(EventTextTest, TheOtherEventsAreLinesToo) {
    EXPECT_EQ(Format(RunStateEvent{RunState::Running}), "== run state: running");
    EXPECT_EQ(Format(LoadStateEvent{9, LoadState::Loading}), "== group object table: loading");
    EXPECT_EQ(Format(BusEvent{false, "knxd is gone"}), "== knxd is gone");
    EXPECT_EQ(Format(MessageEvent{false, "Init returned 2"}), "== Init returned 2");
    EXPECT_EQ(Format(LogEvent{log4cplus::WARN_LOG_LEVEL, "[App] Init - careful"}), "   WARN  careful");
}

/// What a terminal would obey, a byte that is not UTF-8, and text that stays as it is.
const std::string Foreign =
    "a\nb\r\t\x1b[2J\x7f\xC2\x9B"
    "1m\xFF\xC3\xA4\\";
const std::string Printable = R"(a\nb\r\t\u001b[2J\u007f\u009b1m\xff)"
                              "\xC3\xA4\\";

TEST(EventTextTest, TextFromOutsideCannotBreakOrGarbleALine) {
    EXPECT_EQ(Format(MessageEvent{false, Foreign}), "== " + Printable);
    EXPECT_EQ(Format(BusEvent{true, Foreign}), "== " + Printable);
    EXPECT_EQ(Format(LogEvent{log4cplus::ERROR_LOG_LEVEL, "[App] Init - " + Foreign}), "   ERROR " + Printable);
    auto event = MakeTelegramEvent();
    event.name = Foreign;
    event.reason = Foreign;
    EXPECT_THAT(Format(event), HasSubstr("CO 3   " + Printable + " "));
    EXPECT_THAT(Format(event), EndsWith("taken: " + Printable));
    EXPECT_THAT(Format(LogEvent{log4cplus::ERROR_LOG_LEVEL, Foreign}, true), EndsWith(Printable + "\x1b[0m"));
}

TEST(EventTextTest, ColoursSurroundTheLine) {
    EXPECT_THAT(Format(RunStateEvent{RunState::Error}, true), MatchesRegex("\x1b\\[31m.*\x1b\\[0m"));
    EXPECT_THAT(Format(MakeTelegramEvent(), true), MatchesRegex("\x1b\\[36m.*\x1b\\[0m"));
    EXPECT_THAT(Format(MessageEvent{false, "plain"}, true), MatchesRegex("[0-9].*plain"));
}

TEST(EventTextTest, ALogLineLosesPrefixFunctionAndCallStack) {
    constexpr int Info = log4cplus::INFO_LOG_LEVEL;
    constexpr int Error = log4cplus::ERROR_LOG_LEVEL;
    EXPECT_EQ(CompactLogText(Info, "[App] Init - text - with dash"), "text - with dash");
    EXPECT_EQ(CompactLogText(Info, "[My - App] Init - text"), "text");
    EXPECT_EQ(CompactLogText(Info, "[no end - text"), "[no end - text");
    EXPECT_EQ(CompactLogText(Info, "Init - text [kept]"), "text [kept]");
    EXPECT_EQ(CompactLogText(Error, "Init - text [frame1, frame2 [clone]]"), "text");
    EXPECT_EQ(CompactLogText(Error, "[App] Init - text [kept]"), "text [kept]");
    EXPECT_EQ(CompactLogText(Info, "no separator"), "no separator");
    EXPECT_EQ(CompactLogText(Error, "Init - "), "");
    EXPECT_EQ(CompactLogText(Info, ""), "");
}

TEST(EventJsonTest, ATelegramHasAllItsMembers) {
    auto document = MakeEventJson({{}, MakeTelegramEvent()});
    EXPECT_EQ(document["time"].get<std::string>().size(), 12U);
    document.erase("time");
    EXPECT_EQ(document, nlohmann::json::parse(R"({
        "event": "telegram", "direction": "in", "service": "write", "address": "1/0/3", "source": "1.1.1",
        "object": 3, "name": "Brightness", "dpt": "9.004", "value": "20.48", "raw": "0c00", "verdict": "taken",
        "reason": ""
    })"));
}

TEST(EventJsonTest, AReadHasNoValue) {
    auto event = MakeTelegramEvent();
    event.telegram.service = GroupService::Read;
    event.value.reset();
    const auto document = MakeEventJson({{}, event});
    EXPECT_FALSE(document.contains("value"));
    EXPECT_FALSE(document.contains("raw"));
}

TEST(EventJsonTest, TheOtherEventsHaveTheirMembers) {
    const auto make = [](HostEvent::Body body) {
        auto document = MakeEventJson({{}, std::move(body)});
        document.erase("time");
        return document.dump();
    };
    EXPECT_EQ(make(RunStateEvent{RunState::Error}), R"({"event":"runState","state":"error"})");
    EXPECT_EQ(make(LoadStateEvent{40960, LoadState::Loaded}),
              R"({"event":"loadState","object":40960,"state":"loaded"})");
    EXPECT_EQ(make(BusEvent{true, "back"}), R"({"connected":true,"event":"bus","text":"back"})");
    EXPECT_EQ(make(LogEvent{log4cplus::INFO_LOG_LEVEL, "a - b"}),
              R"({"brief":"b","event":"log","level":"INFO","text":"a - b"})");
    EXPECT_EQ(make(MessageEvent{true, "x"}), R"({"event":"message","problem":true,"text":"x"})");
}

TEST(EventJsonTest, BytesThatAreNotUtf8AreReplaced) {
    EXPECT_EQ(MakeJsonText("a\xFF"), "\"a\xEF\xBF\xBD\"");
}

TEST(LifePrinterTest, PrintsEventsAsLinesWhileItLives) {
    HostEvents events;
    std::ostringstream out;
    {
        const LifePrinter sut(events, out, false);
        events.Publish(MessageEvent{false, "first"});
    }
    events.Publish(MessageEvent{false, "second"});
    EXPECT_THAT(out.str(), MatchesRegex("[0-9:.]+ == first\n"));
}

TEST(LifePrinterTest, ALineOfItsOwnCannotBeBrokenEither) {
    HostEvents events;
    std::ostringstream out;
    LifePrinter sut(events, out, false);
    sut.Print(Foreign);
    EXPECT_EQ(out.str(), Printable + "\n");
}

TEST(PluginLogTest, LinesOfThePluginFromInfoOnBecomeEvents) {
    HostEvents events;
    EventRecorder recorder(events);
    const PluginLog sut(events, "");
    const auto logger = GetApplicationLogger();
    LOG4CPLUS_DEBUG(logger, "hidden");
    LOG4CPLUS_INFO(logger, "shown");
    const auto lines = recorder.Get<LogEvent>();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "shown");
    EXPECT_EQ(lines[0].level, log4cplus::INFO_LOG_LEVEL);
    EXPECT_EQ(logger.getName(), "KnxStack.ApplicationProgram");
}

TEST(PluginLogTest, ATapHearsTheLinesOfThePluginFromItsThresholdOnWhileItLives) {
    HostEvents events;
    const PluginLog log(events, "");
    std::vector<std::string> lines;
    {
        const LogTap sut(log4cplus::DEBUG_LOG_LEVEL, [&lines](log4cplus::LogLevel level, const std::string& line) {
            lines.push_back(std::to_string(level) + " " + line);
        });
        LOG4CPLUS_TRACE(GetApplicationLogger(), "below");
        LOG4CPLUS_DEBUG(GetApplicationLogger(), "one");
        LOG4CPLUS_ERROR(GetApplicationLogger(), "two");
        LOG4CPLUS_ERROR(log4cplus::Logger::getInstance("Other"), "another's");
    }
    LOG4CPLUS_ERROR(GetApplicationLogger(), "late");
    EXPECT_THAT(lines, ElementsAre("10000 one", "40000 two"));
}

TEST(PluginLogTest, AFileGetsAllLevelsOfAllLoggers) {
    const TestSupport::TemporaryFolder folder;
    const auto file = (folder.GetPath() / "log").string();
    HostEvents events;
    {
        const PluginLog sut(events, file);
        LOG4CPLUS_DEBUG(log4cplus::Logger::getInstance("KnxStack.ApplicationProgram"), "one");
        LOG4CPLUS_WARN(log4cplus::Logger::getInstance("Other"), "two");
    }
    boost::filesystem::ifstream in(file);
    std::string first;
    std::string second;
    std::getline(in, first);
    std::getline(in, second);
    EXPECT_THAT(first, MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9],[0-9][0-9][0-9] DEBUG one"));
    EXPECT_THAT(second, MatchesRegex("[0-9:,]+ WARN  two"));
}

TEST(PluginLogTest, ARecordIsOneLineOfTheFileAndItsEventKeepsItsText) {
    const TestSupport::TemporaryFolder folder;
    HostEvents events;
    EventRecorder recorder(events);
    {
        const PluginLog sut(events, folder.At("log"));
        LOG4CPLUS_ERROR(GetApplicationLogger(), Foreign);
    }
    boost::filesystem::ifstream in(folder.GetPath() / "log");
    const std::string content(std::istreambuf_iterator<char>(in), {});
    EXPECT_THAT(content, EndsWith(" ERROR " + Printable + "\n"));
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 1);
    ASSERT_EQ(recorder.Get<LogEvent>().size(), 1U);
    EXPECT_EQ(recorder.Get<LogEvent>().front().text, Foreign);
}

TEST(PluginLogTest, AFileThatHasGrownMakesRoomForAnother) {
    constexpr long Limit = 200L * 1024;
    const TestSupport::TemporaryFolder folder;
    HostEvents events;
    {
        const PluginLog sut(events, folder.At("log"), Limit);
        const std::string line(1024, 'x');
        for (int count = 0; count < 1000; ++count) {
            LOG4CPLUS_INFO(log4cplus::Logger::getInstance("Other"), line);
        }
        LOG4CPLUS_INFO(log4cplus::Logger::getInstance("Other"), "the last one");
    }
    std::uintmax_t bytes = 0;
    for (const auto& entry : boost::filesystem::directory_iterator(folder.GetPath())) {
        bytes += boost::filesystem::file_size(entry.path());
    }
    EXPECT_LE(bytes, 2 * (Limit + 2048));
    EXPECT_GE(bytes, std::uintmax_t{Limit});
    boost::filesystem::ifstream in(folder.GetPath() / "log");
    const std::string newest(std::istreambuf_iterator<char>(in), {});
    EXPECT_THAT(newest, EndsWith("the last one\n"));
}

TEST(PluginLogTest, AFullDiskIsToldOnceAndTheHostGoesOn) {
    std::ostringstream errors;
    std::streambuf* const previous = std::cerr.rdbuf(errors.rdbuf());
    HostEvents events;
    {
        const PluginLog sut(events, "/dev/full");
        for (int count = 0; count < 10; ++count) {
            LOG4CPLUS_INFO(log4cplus::Logger::getInstance("Other"), count);
        }
    }
    std::cerr.rdbuf(previous);
    EXPECT_EQ(errors.str(), "warning: /dev/full: the log cannot be written; lines of it are lost\n");
}

TEST(PluginLogTest, AFileThatCannotBeWrittenIsNamed) {
    HostEvents events;
    try {
        const PluginLog sut(events, "/nowhere/log");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(),
                     "/nowhere/log: the log cannot be written; expected a file in a folder that is there");
    }
}

}  // namespace
}  // namespace LocalDevice
