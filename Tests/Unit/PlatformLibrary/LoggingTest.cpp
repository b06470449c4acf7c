#include "Zandrel/Logging.h"

#include <gtest/gtest.h>

#include <boost/thread/thread_only.hpp>
#include <sstream>

#include "CapturingAppender.h"

namespace {

std::string PrintPadding() {
    std::ostringstream stream;
    stream << Zandrel::LoggingRecursionPadding{};
    return stream.str();
}

TEST(Logging, FirstCentralLoggerStaysInForce) {
    const TestSupport::GlobalLogCapture first;
    const TestSupport::LogCapture second("Second");
    Zandrel::SetCentralLoggerOnce(log4cplus::Logger::getInstance("Second"));
    EXPECT_EQ(Zandrel::GetGlobalDefaultLogger().getName(), "KnxStack.ApplicationProgram");
}

TEST(Logging, PrinterNamesFunctionFileAndLine) {
    std::ostringstream stream;
    stream << Zandrel::PrettyFunctionNamePrinter("Connect", "Folder/File", 42);
    EXPECT_EQ(stream.str(), "Connect (Folder/File:42)");
}

TEST(Logging, PaddingGrowsAndShrinksWithTheDepth) {
    EXPECT_EQ(PrintPadding(), "");
    Zandrel::IncreaseLoggingRecursionDepth();
    Zandrel::IncreaseLoggingRecursionDepth();
    EXPECT_EQ(PrintPadding(), "    ");
    Zandrel::DecreaseLoggingRecursionDepth();
    EXPECT_EQ(PrintPadding(), "  ");
    Zandrel::DecreaseLoggingRecursionDepth();
    EXPECT_EQ(PrintPadding(), "");
}

TEST(Logging, DepthNeverFallsBelowZero) {
    Zandrel::DecreaseLoggingRecursionDepth();
    Zandrel::IncreaseLoggingRecursionDepth();
    EXPECT_EQ(PrintPadding(), "  ");
    Zandrel::DecreaseLoggingRecursionDepth();
}

TEST(Logging, EachThreadHasItsOwnDepth) {
    Zandrel::IncreaseLoggingRecursionDepth();
    std::string padding = "none";
    boost::thread([&padding] { padding = PrintPadding(); }).join();
    EXPECT_EQ(padding, "");
    Zandrel::DecreaseLoggingRecursionDepth();
}

}  // namespace
