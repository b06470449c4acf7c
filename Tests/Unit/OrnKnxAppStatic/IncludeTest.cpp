#include <gtest/gtest.h>

#include <type_traits>

#include "AppIdentity.h"
#include "Orn/BoundedInt.h"
#include "Orn/Durations.h"
#include "Orn/Finalizer.h"
#include "Orn/ThreadControl.h"

namespace {

using Zandrel::AppIdentity;
using Zandrel::Finalizer;
using Zandrel::LogicalDeviceId;

TEST(BoundedInt, RefusesWhatIsOutOfRange) {
    EXPECT_FALSE(LogicalDeviceId::From(0));
    EXPECT_FALSE(LogicalDeviceId::From(3));
}

TEST(BoundedInt, KeepsBothLimits) {
    EXPECT_EQ(LogicalDeviceId::From(1)->Value(), 1);
    EXPECT_EQ(LogicalDeviceId::From(2)->Value(), 2);
    EXPECT_NE(LogicalDeviceId::From(1), LogicalDeviceId::From(2));
}

TEST(Finalizer, RunsItsActionOnceWhenDestroyed) {
    int runs = 0;
    {
        const Finalizer sut([&runs] { ++runs; });
    }
    EXPECT_EQ(runs, 1);
}

TEST(Finalizer, RunsNothingWhenDismissed) {
    int runs = 0;
    {
        Finalizer sut([&runs] { ++runs; });
        sut.Dismiss();
    }
    EXPECT_EQ(runs, 0);
}

TEST(Finalizer, AcceptsAnEmptyAction) {
    const Finalizer sut(nullptr);
    static_assert(!std::is_copy_constructible_v<Finalizer>);
}

TEST(ThreadControl, RunsFromTheStart) {
    const Zandrel::ThreadControl sut;
    EXPECT_TRUE(sut.running);
}

TEST(Durations, ConvertToTheMessengersType) {
    EXPECT_EQ(Zandrel::Durations::ToPosixTime(Zandrel::Durations::RequestTimeout),
              boost::posix_time::microseconds(30000000));
}

TEST(AppIdentity, KnowsNothingAtFirst) {
    const AppIdentity sut;
    EXPECT_EQ(sut.GetAppId(), "");
    EXPECT_FALSE(sut.GetAppType());
    EXPECT_FALSE(sut.GetLogicalDeviceId());
    EXPECT_FALSE(sut.IsManagedApp());
}

TEST(AppIdentity, OnlyTypeOneIsAManagedApp) {
    AppIdentity sut;
    for (int type = 0; type < 256; ++type) {
        sut.SetAppType(static_cast<std::uint8_t>(type));
        EXPECT_EQ(sut.GetAppType(), type);
        EXPECT_EQ(sut.IsManagedApp(), type == 1);
    }
}

TEST(AppIdentity, KeepsTheLogicalDevice) {
    AppIdentity sut;
    sut.SetLogicalDeviceId(*LogicalDeviceId::From(2));
    EXPECT_EQ(sut.GetLogicalDeviceId(), LogicalDeviceId::From(2));
}

}  // namespace
