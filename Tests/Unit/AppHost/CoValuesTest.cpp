#include "CoValues.h"

#include <gtest/gtest.h>

#include <boost/thread/thread_only.hpp>
#include <chrono>

namespace {

using LocalDevice::CoValues;
using LocalDevice::DeviceModel;
using Zandrel::ZANVALUE;

const auto A = ZANVALUE::FromInteger(1);
const auto B = ZANVALUE::FromInteger(2);
const auto C = ZANVALUE::FromText("1");

class CoValuesTest : public testing::Test {
protected:
    bool Set(std::uint16_t co, const ZANVALUE& value) {
        return sut.Set(co, value, now, [] { return true; });
    }
    bool IsNews(std::uint16_t co, const ZANVALUE& value) { return sut.IsNews(co, value, now); }

    CoValues sut{{{1, {true, std::nullopt}}, {2, {true, A}}, {3, {false, A}}}};
    CoValues::TimePoint now{};
};

TEST_F(CoValuesTest, knowsTheCosOfTheModel) {
    EXPECT_TRUE(sut.Exists(1));
    EXPECT_FALSE(sut.Exists(0));
    EXPECT_FALSE(sut.Exists(4));
    EXPECT_EQ(sut.Get(1), std::nullopt);
    EXPECT_EQ(sut.Get(2), A);
    EXPECT_EQ(sut.Get(4), std::nullopt);
}

TEST_F(CoValuesTest, everyForeignValueIsNews) {
    EXPECT_TRUE(IsNews(1, A));
    EXPECT_TRUE(IsNews(1, A));
    EXPECT_TRUE(IsNews(2, A));
    EXPECT_EQ(sut.Get(1), A);
}

TEST_F(CoValuesTest, aValueOfAnUnknownCoIsNoNews) {
    EXPECT_FALSE(IsNews(4, A));
    EXPECT_EQ(sut.Get(4), std::nullopt);
}

TEST_F(CoValuesTest, anOwnWriteIsNoNewsOnce) {
    EXPECT_TRUE(Set(1, A));
    EXPECT_EQ(sut.Get(1), A);
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_TRUE(IsNews(1, A));
}

TEST_F(CoValuesTest, equalOwnWritesAreNoNewsAsOftenAsTheyWereWritten) {
    Set(1, A);
    Set(1, A);
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_TRUE(IsNews(1, A));
}

TEST_F(CoValuesTest, anotherTypeIsAnotherValue) {
    Set(1, A);
    EXPECT_TRUE(IsNews(1, C));
}

TEST_F(CoValuesTest, anotherCoHasWritesOfItsOwn) {
    Set(1, A);
    EXPECT_TRUE(IsNews(2, A));
    EXPECT_FALSE(IsNews(1, A));
}

TEST_F(CoValuesTest, aForeignValueBeforeTheOwnReportIsNewsAndTheOwnOneLasts) {
    Set(1, A);
    EXPECT_TRUE(IsNews(1, B));
    EXPECT_EQ(sut.Get(1), A);
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_EQ(sut.Get(1), A);
}

TEST_F(CoValuesTest, aForeignValueAfterTheOwnReportLasts) {
    Set(1, A);
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_TRUE(IsNews(1, B));
    EXPECT_EQ(sut.Get(1), B);
}

TEST_F(CoValuesTest, aForeignValueEqualToALaterOwnWriteConfusesNothing) {
    Set(1, A);
    Set(1, B);
    EXPECT_TRUE(IsNews(1, B));
    EXPECT_FALSE(IsNews(1, A));
    EXPECT_FALSE(IsNews(1, B));
    EXPECT_TRUE(IsNews(1, B));
    EXPECT_EQ(sut.Get(1), B);
}

TEST_F(CoValuesTest, aWriteThatWasNotSentIsForgotten) {
    EXPECT_FALSE(sut.Set(1, A, now, [] { return false; }));
    EXPECT_EQ(sut.Get(1), std::nullopt);
    EXPECT_TRUE(IsNews(1, A));
}

TEST_F(CoValuesTest, anEqualWriteToACoThatReportsChangesOnlyAwaitsNoReport) {
    Set(3, A);
    EXPECT_TRUE(IsNews(3, A));
    Set(3, B);
    Set(3, B);
    EXPECT_FALSE(IsNews(3, B));
    EXPECT_TRUE(IsNews(3, B));
}

TEST_F(CoValuesTest, aReportThatIsTooLateIsNews) {
    Set(1, A);
    Set(2, A);
    now += CoValues::ReportLifetime;
    EXPECT_FALSE(IsNews(1, A));
    now += std::chrono::nanoseconds(1);
    EXPECT_TRUE(IsNews(2, A));
}

TEST_F(CoValuesTest, aReportThatNeverComesDoesNotHideLaterOnes) {
    Set(1, A);
    now += CoValues::ReportLifetime + std::chrono::seconds(1);
    Set(1, B);
    EXPECT_FALSE(IsNews(1, B));
}

TEST_F(CoValuesTest, aNewConnectionReportsNoEarlierWrite) {
    Set(1, A);
    sut.ForgetWrites();
    EXPECT_TRUE(IsNews(1, A));
}

TEST_F(CoValuesTest, aCoCanLoseItsValue) {
    EXPECT_TRUE(IsNews(2, ZANVALUE{}));
    EXPECT_EQ(sut.Get(2), std::nullopt);
}

TEST_F(CoValuesTest, theReportOfTheOldestWriteIsTakenOnce) {
    Set(1, A);
    EXPECT_FALSE(sut.TakeOwnReport(1, B, now));
    EXPECT_TRUE(sut.TakeOwnReport(1, A, now));
    EXPECT_FALSE(sut.TakeOwnReport(1, A, now));
    EXPECT_TRUE(IsNews(1, A));
}

TEST_F(CoValuesTest, aReportThatIsNotTakenChangesNothing) {
    EXPECT_FALSE(sut.TakeOwnReport(2, B, now));
    EXPECT_EQ(sut.Get(2), A);
    EXPECT_FALSE(sut.TakeOwnReport(4, A, now));
}

TEST_F(CoValuesTest, aReportThatComesTooLateIsNotTaken) {
    Set(1, A);
    EXPECT_FALSE(sut.TakeOwnReport(1, A, now + CoValues::ReportLifetime + std::chrono::seconds(1)));
}

TEST_F(CoValuesTest, whileTheAppIsWritingNoReportIsWaitedFor) {
    Set(1, A);
    EXPECT_TRUE(sut.Set(1, B, now, [this] {
        boost::thread reader([this] { EXPECT_FALSE(sut.TakeOwnReport(1, A, now)); });
        reader.join();
        return true;
    }));
    EXPECT_TRUE(sut.TakeOwnReport(1, A, now));
    EXPECT_TRUE(sut.TakeOwnReport(1, B, now));
}

}  // namespace
