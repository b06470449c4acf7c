#include "DeathRecord.h"

#include <gmock/gmock.h>

namespace {

using LocalDevice::DeathRecord;
using std::chrono::milliseconds;
using std::chrono::seconds;

const DeathRecord::TimePoint Begin{};

TEST(DeathRecord, PauseDoublesWithEachDeath) {
    DeathRecord sut;
    EXPECT_EQ(sut.Add(Begin), milliseconds(250));
    EXPECT_EQ(sut.Add(Begin + seconds(1)), milliseconds(500));
    EXPECT_EQ(sut.Add(Begin + seconds(2)), milliseconds(1000));
    EXPECT_EQ(sut.Add(Begin + seconds(3)), milliseconds(2000));
}

TEST(DeathRecord, FifthDeathWithinAMinuteIsTheEnd) {
    DeathRecord sut;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(sut.Add(Begin));
    }
    EXPECT_FALSE(sut.Add(Begin + seconds(60) - milliseconds(1)));
}

TEST(DeathRecord, DeathsOlderThanAMinuteAreForgotten) {
    DeathRecord sut;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(sut.Add(Begin));
    }
    EXPECT_EQ(sut.Add(Begin + seconds(60)), milliseconds(250));
}

TEST(DeathRecord, OneDeathEveryQuarterOfAMinuteGoesOnForEver) {
    DeathRecord sut;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(sut.Add(Begin + i * seconds(15)));
    }
}

}  // namespace
