#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "PrefixedLogger.h"

#define ORN_NAMED __attribute__((visibility("default"), noinline))

/// Functions that have names in a call stack: they are exported. None is left before the line is logged.
namespace CallStackTest {

ORN_NAMED int LogAnError(const Zandrel::PrefixedLogger& log) {
    ORN_LOG(log, ERROR, "Broken");
    return 1;
}

ORN_NAMED int CallWhatLogs(const Zandrel::PrefixedLogger& log) {
    return LogAnError(log) + 1;
}

/// Logs `depth` calls further in.
ORN_NAMED int LogAtADepth(const Zandrel::PrefixedLogger& log, int depth) {
    // Kept in memory: the compiler must not make a loop of it.
    const volatile int calls = depth == 0 ? LogAnError(log) : LogAtADepth(log, depth - 1);
    return calls + 1;
}

}  // namespace CallStackTest

namespace {

TEST(CallStack, BeginsWithTheFunctionThatLogsAndGoesOnWithItsCaller) {
    const std::string begin =
        "LogAnError - Broken [CallStackTest::LogAnError(Zandrel::PrefixedLogger const&) < "
        "CallStackTest::CallWhatLogs(Zandrel::PrefixedLogger const&) < ";
    TestSupport::LogCapture log;
    const Zandrel::PrefixedLogger sut(log.GetLogger(), std::make_shared<Zandrel::AppIdentity>());

    CallStackTest::CallWhatLogs(sut);

    const auto lines = log.GetLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, "ERROR");
    EXPECT_EQ(lines[0].text.substr(0, begin.size()), begin) << lines[0].text;
    EXPECT_EQ(lines[0].text.back(), ']');
}

TEST(CallStack, OfADeepNestingEndsAfter256Frames) {
    const std::string function = "CallStackTest::LogAtADepth(";
    TestSupport::LogCapture log;
    const Zandrel::PrefixedLogger sut(log.GetLogger(), std::make_shared<Zandrel::AppIdentity>());

    CallStackTest::LogAtADepth(sut, 400);

    const std::string text = log.GetLines().at(0).text;
    int frames = 1;
    for (std::size_t at = text.find(" < "); at != std::string::npos; at = text.find(" < ", at + 1)) {
        ++frames;
    }
    EXPECT_LT(frames, 256) << "those that capture are among the 256";
    EXPECT_GT(frames, 250);
    EXPECT_GT(text.rfind(function), text.rfind(" < ")) << "there is more to it";
}

TEST(CallStack, OfALineWithAPrefixIsNotThere) {
    TestSupport::LogCapture log;
    const auto identity = std::make_shared<Zandrel::AppIdentity>();
    identity->SetAppId("App");

    CallStackTest::CallWhatLogs(Zandrel::PrefixedLogger(log.GetLogger(), identity));

    EXPECT_EQ(log.GetLines(), (std::vector<TestSupport::LogLine>{{"ERROR", "[App] LogAnError - Broken"}}));
}

}  // namespace
