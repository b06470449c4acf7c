#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
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
              "<- write    -         CO 3   Brightness           16.001  a.b [610a620000000000000000000000]  kept");
}

TEST(EventTextTest, TheOtherEventsAreLinesToo) {
    EXPECT_EQ(Format(RunStateEvent{RunState::Running}), "== run state: running");
    EXPECT_EQ(Format(LoadStateEvent{9, LoadState::Loading}), "== group object table: loading");
    EXPECT_EQ(Format(BusEvent{false, "knxd is gone"}), "== knxd is gone");
    EXPECT_EQ(Format(MessageEvent{false, "Init returned 2"}), "== Init returned 2");
    EXPECT_EQ(Format(LogEvent{log4cplus::WARN_LOG_LEVEL, "[App] Init - careful"}), "   WARN  careful");
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
    auto json = MakeEventJson({{}, MakeTelegramEvent()});
    EXPECT_EQ(json["time"].get<std::string>().size(), 12U);
    json.erase("time");
    EXPECT_EQ(json, nlohmann::json::parse(R"({
        "event": "telegram", "direction": "in", "service": "write", "address": "1/0/3", "source": "1.1.1",
        "object": 3, "name": "Brightness", "dpt": "9.004", "value": "20.48", "raw": "0c00", "verdict": "taken",
        "reason": ""
    })"));
}

TEST(EventJsonTest, AReadHasNoValue) {
    auto event = MakeTelegramEvent();
    event.telegram.service = GroupService::Read;
    event.value.reset();
    const auto json = MakeEventJson({{}, event});
    EXPECT_FALSE(json.contains("value"));
    EXPECT_FALSE(json.contains("raw"));
}

TEST(EventJsonTest, TheOtherEventsHaveTheirMembers) {
    const auto make = [](HostEvent::Body body) {
        auto json = MakeEventJson({{}, std::move(body)});
        json.erase("time");
        return json.dump();
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
