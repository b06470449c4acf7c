#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>

#include "AllocationFault.h"
#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "Orn/MeasureDuration.h"
#include "PrefixedLogger.h"

namespace {

using TestSupport::AllocationFault;
using TestSupport::GlobalLogCapture;
using TestSupport::LogCapture;
using TestSupport::LogLine;
using Zandrel::AnyDuration;
using Zandrel::AppIdentity;
using Zandrel::LoggingRecursionPadding;
using Zandrel::MeasureDuration;
using Zandrel::PrefixedLogger;

/// As a source, up to the line.
const std::string ThisFile = "Tests/Unit/OrnKnxAppStatic/LoggingFormsTest:";

class LoggingForms : public testing::Test {
protected:
    LogCapture capture_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    PrefixedLogger sut_{capture_.GetLogger(), identity_};
};

void WriteGlobalLine() {
    ORN_LOG_GLOBAL(WARN, "value " << 7);
}

/// Counts how often it is printed.
struct Counted {
    int* count;
    friend std::ostream& operator<<(std::ostream& stream, const Counted& counted) {
        ++*counted.count;
        return stream;
    }
};

TEST_F(LoggingForms, PrefixStandsInBracketsBeforeTheFunction) {
    identity_->SetAppId("StairLight");

    ORN_LOG(sut_, INFO, "Hello " << 1 << '.');

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"INFO", "[StairLight] TestBody - Hello 1."}}));
}

TEST_F(LoggingForms, LineWithoutPrefixBeginsWithTheFunction) {
    ORN_LOG(sut_, WARN, "Hello");

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"WARN", "TestBody - Hello"}}));
}

TEST_F(LoggingForms, FunctionNameIsOperatorInALambda) {
    [this] { ORN_LOG(sut_, INFO, "Hello"); }();  // NOLINT(bugprone-lambda-function-name): as the name of the test says

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"INFO", "operator() - Hello"}}));
}

TEST_F(LoggingForms, MessageReadsAsAStreamPrintsIt) {
    enum Plain : std::uint8_t { Seven = 7 };
    const auto print = [](auto& message) {
        message << std::string("text") << std::string_view("part") << "literal" << 'c' << true << std::int8_t{65}
                << std::uint8_t{66} << std::int16_t{-3} << std::uint16_t{65535} << -4 << 5U
                << std::numeric_limits<std::int64_t>::min() << std::numeric_limits<std::uint64_t>::max() << 2.5 << 1e-9F
                << Seven << LoggingRecursionPadding{};
    };
    Zandrel::MessageStream sut;
    print(sut);
    std::ostringstream reference;
    print(reference);

    EXPECT_EQ(sut.Text(), reference.str());
}

TEST_F(LoggingForms, ErrorWithoutPrefixEndsInTheCallStack) {
    ORN_LOG(sut_, ERROR, "Broken");

    const auto lines = capture_.GetLines();
    ASSERT_EQ(lines.size(), 1U);
    const std::string& text = lines[0].text;
    EXPECT_EQ(text.rfind("TestBody - Broken [", 0), 0U) << text;
    EXPECT_EQ(text.back(), ']');
    EXPECT_NE(text.find(" < "), std::string::npos) << text;
    EXPECT_EQ(text.find("Backtrace"), std::string::npos) << text;
}

TEST_F(LoggingForms, FatalWithoutPrefixEndsInTheCallStack) {
    ORN_LOG(sut_, FATAL, "Broken");

    EXPECT_EQ(capture_.GetLines().at(0).text.rfind("TestBody - Broken [", 0), 0U);
}

TEST_F(LoggingForms, ErrorWithPrefixHasNoCallStack) {
    identity_->SetAppId("A");

    ORN_LOG(sut_, ERROR, "Broken");

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"ERROR", "[A] TestBody - Broken"}}));
}

TEST_F(LoggingForms, SharedStepLogsUnderItsCallersName) {
    ORN_LOG_AS("Exit", sut_, INFO, "Hello");

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"INFO", "Exit - Hello"}}));
}

TEST_F(LoggingForms, PlainFormHasNeitherPrefixNorCallStack) {
    ORN_LOG_PLAIN(capture_.GetLogger(), ERROR, "Broken");

    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"ERROR", "TestBody - Broken"}}));
}

TEST_F(LoggingForms, SourceIsThePathBelowTheRootWithoutExtension) {
    ORN_LOG_PLAIN(capture_.GetLogger(), INFO, "Hello");
    const int line = __LINE__ - 1;

    EXPECT_EQ(capture_.GetLastSource(), ThisFile + std::to_string(line));
}

TEST_F(LoggingForms, SourceOfAPrefixedLineIsThatOfItsStatement) {
    ORN_LOG(sut_, INFO, "Hello");
    EXPECT_EQ(capture_.GetLastSource(), ThisFile + std::to_string(__LINE__ - 1));

    ORN_LOG_AS("Exit", sut_, INFO, "Hello");
    EXPECT_EQ(capture_.GetLastSource(), ThisFile + std::to_string(__LINE__ - 1));
}

TEST_F(LoggingForms, MessageOfADisabledLevelIsNotBuilt) {
    int count = 0;
    capture_.GetLogger().setLogLevel(log4cplus::INFO_LOG_LEVEL);

    ORN_LOG(sut_, DEBUG, Counted{&count});
    ORN_LOG_AS("Exit", sut_, DEBUG, Counted{&count});
    ORN_LOG_PREFIXED(capture_.GetLogger(), "A", DEBUG, Counted{&count});
    ORN_LOG_PREFIXED_AS("Exit", capture_.GetLogger(), "A", DEBUG, Counted{&count});
    ORN_LOG_PLAIN(capture_.GetLogger(), DEBUG, Counted{&count});
    GlobalLogCapture global;
    global.GetLogger().setLogLevel(log4cplus::INFO_LOG_LEVEL);
    ORN_LOG_GLOBAL(DEBUG, Counted{&count});
    EXPECT_EQ(count, 0);

    ORN_LOG(sut_, INFO, Counted{&count});
    ORN_LOG_GLOBAL(INFO, Counted{&count});
    EXPECT_EQ(count, 2);
}

TEST_F(LoggingForms, GlobalFormNamesFunctionFileAndLine) {
    GlobalLogCapture global;

    WriteGlobalLine();

    const auto lines = global.GetLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, "WARN");
    EXPECT_EQ(lines[0].text, "WriteGlobalLine (" + global.GetLastSource() + ") - value 7");
}

TEST_F(LoggingForms, GlobalFormIndentsByTheNestingOfLoggedCalls) {
    GlobalLogCapture global;

    Zandrel::IncreaseLoggingRecursionDepth();
    WriteGlobalLine();
    Zandrel::IncreaseLoggingRecursionDepth();
    WriteGlobalLine();
    Zandrel::DecreaseLoggingRecursionDepth();
    Zandrel::DecreaseLoggingRecursionDepth();
    WriteGlobalLine();

    const std::string begin = "WriteGlobalLine (" + global.GetLastSource() + ") - ";
    EXPECT_EQ(global.GetLines(),
              (std::vector<LogLine>{
                  {"WARN", begin + "  value 7"}, {"WARN", begin + "    value 7"}, {"WARN", begin + "value 7"}}));
}

TEST_F(LoggingForms, SecondCentralLoggerIsIgnored) {
    const GlobalLogCapture global;
    LogCapture other("Other");

    Zandrel::SetCentralLoggerOnce(other.GetLogger());
    WriteGlobalLine();

    EXPECT_EQ(global.GetLines().size(), 1U);
    EXPECT_TRUE(other.GetLines().empty());
}

TEST_F(LoggingForms, DurationWithoutThresholdIsLoggedAtDebug) {
    { const MeasureDuration sut("Waiting took ", capture_.GetLogger()); }

    const auto lines = capture_.GetLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, "DEBUG");
    EXPECT_TRUE(testing::internal::RE::FullMatch(
        lines[0].text, testing::internal::RE("~MeasureDuration - Waiting took [0-9]+\\.[0-9][0-9][0-9][0-9][0-9][0-9]s "
                                             "wall, .*CPU \\(.*%\\)")))
        << lines[0].text;
}

TEST_F(LoggingForms, SourceOfADurationIsWhereItIsLogged) {
    for (const auto threshold : {std::optional<std::chrono::nanoseconds>(), {AnyDuration}}) {
        { const MeasureDuration sut("Waiting took ", capture_.GetLogger(), threshold); }

        EXPECT_TRUE(testing::internal::RE::FullMatch(capture_.GetLastSource(),
                                                     testing::internal::RE("Include/Orn/MeasureDuration:[1-9][0-9]*")))
            << capture_.GetLastSource();
    }
}

TEST_F(LoggingForms, DurationWithoutThresholdLogsNothingWhenDebugIsOff) {
    capture_.GetLogger().setLogLevel(log4cplus::INFO_LOG_LEVEL);

    { const MeasureDuration sut("Waiting took ", capture_.GetLogger()); }

    EXPECT_TRUE(capture_.GetLines().empty());
}

TEST_F(LoggingForms, TextOfADurationThatIsNotLoggedIsNotBuilt) {
    int count = 0;
    { const MeasureDuration sut(Counted{&count}, capture_.GetLogger(), std::chrono::hours(1)); }
    EXPECT_EQ(count, 0);

    { const MeasureDuration sut(Counted{&count}, capture_.GetLogger(), AnyDuration); }
    EXPECT_EQ(count, 1);
}

TEST_F(LoggingForms, MeasuringTakesNoMemory) {
    const AllocationFault fault;

    EXPECT_NO_THROW(const MeasureDuration sut("The way from here to there and back again took ", capture_.GetLogger(),
                                              std::chrono::hours(1)));

    EXPECT_FALSE(fault.HasHappened());
}

TEST_F(LoggingForms, DurationBelowItsThresholdIsNotLogged) {
    { const MeasureDuration sut("Waiting took ", capture_.GetLogger(), std::chrono::hours(1)); }

    EXPECT_TRUE(capture_.GetLines().empty());
}

TEST_F(LoggingForms, DurationThatReachesItsThresholdIsLoggedAtInfo) {
    { const MeasureDuration sut("Waiting took ", capture_.GetLogger(), AnyDuration); }

    ASSERT_EQ(capture_.GetLines().size(), 1U);
    EXPECT_EQ(capture_.GetLines()[0].level, "INFO");
}

}  // namespace
