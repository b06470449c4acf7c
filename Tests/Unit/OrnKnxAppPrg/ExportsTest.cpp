#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "FakeKnxStack.h"
#include "MutexShortage.h"
#include "PluginLibrary.h"
#include "ThreadShortage.h"
#include "Zandrel/Logging.h"

namespace {

using TestSupport::FakeKnxStack;
using TestSupport::LogLine;
using TestSupport::MakeGroupValue;

constexpr const char* LoggerName = "KnxStack.ApplicationProgram";

class Exports : public testing::Test {
protected:
    Exports() {
        // The central logger belongs to the process: a test of it begins a process of its own.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    /// Makes a program that is the user of `stack`, and goes no further.
    KnxStack::IApplicationProgram* CreateAt(FakeKnxStack& stack) const {
        stack.RemovePropertyService();
        KnxStack::IApplicationProgram* const program = sut_.Create();
        EXPECT_EQ(program->Init(stack), 0);
        return program;
    }
    static bool HasUser(FakeKnxStack& stack) { return stack.GroupValues().SendWrite(1, MakeGroupValue({1})); }

    PluginLibrary sut_;
};

TEST_F(Exports, VersionIsTenBeforeAndAfterAnObjectExists) {
    EXPECT_EQ(sut_.GetKnxStackApiVersion(), 10U);
    KnxStack::IApplicationProgram* const program = sut_.Create();
    EXPECT_EQ(sut_.GetKnxStackApiVersion(), 10U);
    sut_.Delete(program);
    EXPECT_EQ(sut_.GetKnxStackApiVersion(), 10U);
}

TEST_F(Exports, VersionLogsNothing) {
    const TestSupport::GlobalLogCapture log;

    sut_.GetKnxStackApiVersion();

    EXPECT_EQ(log.GetLines(), std::vector<LogLine>{});
}

TEST_F(Exports, TwoObjectsAreIndependent) {
    FakeKnxStack firstStack;
    FakeKnxStack secondStack;
    KnxStack::IApplicationProgram* const first = CreateAt(firstStack);
    KnxStack::IApplicationProgram* const second = CreateAt(secondStack);
    EXPECT_NE(first, second);

    EXPECT_EQ(first->Exit(), 1);
    sut_.Delete(first);

    EXPECT_FALSE(HasUser(firstStack));
    EXPECT_TRUE(HasUser(secondStack));
    EXPECT_EQ(second->Exit(), 1);
    sut_.Delete(second);
    EXPECT_FALSE(HasUser(secondStack));
}

TEST_F(Exports, FailureOfTheConstructorReachesTheHost) {
    const TestSupport::ThreadShortage shortage;

    EXPECT_THROW(sut_.Create(), boost::thread_resource_error);
}

TEST_F(Exports, LackOfAMutexReachesTheHostAsThatOfAResource) {
    const TestSupport::MutexShortage shortage;

    EXPECT_THROW(sut_.Create(), boost::thread_resource_error);
}

/// Those of the event loop, which have an error of their own, included.
TEST_F(Exports, LackOfWhicheverMutexReachesTheHost) {
    bool hasHappened = true;
    long left = 0;
    for (; hasHappened && !HasFailure(); ++left) {
        SCOPED_TRACE(left);
        KnxStack::IApplicationProgram* program = nullptr;
        {
            const TestSupport::MutexShortage shortage(left);
            try {
                program = sut_.Create();
            } catch (const boost::system::system_error& error) {
                EXPECT_EQ(error.code().value(), ENOMEM);
            }
            hasHappened = TestSupport::MutexShortage::HasHappened();
        }
        EXPECT_EQ(program == nullptr, hasHappened);
        sut_.Delete(program);
    }
    EXPECT_GT(left, 10) << "there are more";
}

TEST_F(Exports, FirstObjectSetsTheCentralLogger) {
    EXPECT_EXIT(
        {
            const TestSupport::LogCapture log(LoggerName);
            const std::string before = Zandrel::GetGlobalDefaultLogger().getName();
            KnxStack::IApplicationProgram* const program = sut_.Create();
            std::cerr << before << " -> " << Zandrel::GetGlobalDefaultLogger().getName() << ", "
                      << log.GetLines().at(0);
            sut_.Delete(program);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0),
        "root -> KnxStack.ApplicationProgram, "
        "DEBUG createApplicationProgram \\(OrnKnxAppPrg/Exports:25\\) - createApplicationProgram\\(\\)");
}

TEST_F(Exports, LaterObjectLeavesTheCentralLoggerInForce) {
    EXPECT_EXIT(
        {
            TestSupport::LogCapture other("Other");
            Zandrel::SetCentralLoggerOnce(other.GetLogger());
            const TestSupport::LogCapture log(LoggerName);
            KnxStack::IApplicationProgram* const program = sut_.Create();
            std::cerr << Zandrel::GetGlobalDefaultLogger().getName() << ", " << other.GetLines().at(0) << ", "
                      << log.GetLines().size();
            sut_.Delete(program);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0),
        "Other, DEBUG createApplicationProgram \\(OrnKnxAppPrg/Exports:25\\) - createApplicationProgram\\(\\), 0");
}

TEST_F(Exports, CreationLogsFunctionAndPlace) {
    const TestSupport::GlobalLogCapture log;

    KnxStack::IApplicationProgram* const program = sut_.Create();

    EXPECT_EQ(log.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "createApplicationProgram (OrnKnxAppPrg/Exports:25) - createApplicationProgram()"}}));
    EXPECT_EQ(log.GetLastSource(), "OrnKnxAppPrg/Exports:25");
    sut_.Delete(program);
}

TEST_F(Exports, DeletionLogsFunctionAndPlaceFirst) {
    TestSupport::GlobalLogCapture log;
    KnxStack::IApplicationProgram* const program = sut_.Create();
    log.TakeLines();

    sut_.Delete(program);

    EXPECT_EQ(log.GetLines().at(0),
              (LogLine{"DEBUG", "deleteApplicationProgram (OrnKnxAppPrg/Exports:31) - deleteApplicationProgram()"}));
}

TEST_F(Exports, DeletionOfNullLogsOneLineAndNothingElse) {
    const TestSupport::GlobalLogCapture log;

    sut_.Delete(nullptr);

    EXPECT_EQ(log.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "deleteApplicationProgram (OrnKnxAppPrg/Exports:31) - deleteApplicationProgram()"}}));
    EXPECT_EQ(log.GetLastSource(), "OrnKnxAppPrg/Exports:31");
}

}  // namespace
