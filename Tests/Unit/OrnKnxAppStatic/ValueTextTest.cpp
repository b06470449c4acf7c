#include "ValueText.h"

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <random>

namespace {

namespace posix_time = boost::posix_time;
using Zandrel::DescribeTime;

TEST(ValueText, MomentReadsAsTheTimeLibraryPrintsIt) {
    EXPECT_EQ(DescribeTime(posix_time::time_from_string("2026-11-22 07:23:20.487748")), "2026-Nov-22 07:23:20.487748");
    EXPECT_EQ(DescribeTime(posix_time::time_from_string("2026-03-01 00:00:00.000001")), "2026-Mar-01 00:00:00.000001");
    EXPECT_EQ(DescribeTime(posix_time::time_from_string("1970-01-01 23:59:59")), "1970-Jan-01 23:59:59");
}

TEST(ValueText, AnyMomentReadsAsTheTimeLibraryPrintsIt) {
    constexpr int Moments = 2000;
    constexpr std::int64_t Second = 1'000'000;
    const posix_time::ptime first(boost::gregorian::date(1400, 1, 1));
    const posix_time::ptime last(boost::gregorian::date(9999, 12, 31));
    std::mt19937_64 random;
    std::uniform_int_distribution<std::int64_t> distribution(0, (last - first).total_microseconds());
    for (int i = 0; i < Moments; ++i) {
        const std::int64_t distance = distribution(random);
        for (const std::int64_t distanceInMicroseconds : {distance, distance - distance % Second}) {
            const posix_time::ptime moment = first + posix_time::microseconds(distanceInMicroseconds);
            ASSERT_EQ(DescribeTime(moment), posix_time::to_simple_string(moment));
        }
    }
}

TEST(ValueText, WhatIsNoMomentIsSaid) {
    EXPECT_EQ(DescribeTime({}), "not-a-date-time");
    EXPECT_EQ(DescribeTime(boost::date_time::pos_infin), "+infinity");
}

}  // namespace
