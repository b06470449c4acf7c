#include "AppHostControlState.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Zandrel::AppHostControlEvent;
using Zandrel::AppHostControlState;

template <typename Value>
std::string Print(const Value& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

TEST(AppHostControlState, PrintsNameAndNumber) {
    EXPECT_EQ(Print(AppHostControlState::Stopped), "Stopped (0)");
    EXPECT_EQ(Print(AppHostControlState::Starting), "Starting (1)");
    EXPECT_EQ(Print(AppHostControlState::Running), "Running (2)");
    EXPECT_EQ(Print(AppHostControlState::Stopping), "Stopping (3)");
}

TEST(AppHostControlState, UnknownNumberPrintsWithoutAName) {
    EXPECT_EQ(Print(AppHostControlState{7}), " (7)");
    EXPECT_EQ(Print(AppHostControlState{-1}), " (-1)");
}

TEST(AppHostControlState, NumberBeyond32BitsIsNoOther) {
    EXPECT_EQ(Print(AppHostControlState{(std::int64_t{1} << 32) + 2}), " (4294967298)");
}

TEST(AppHostControlState, UnknownStatePrintsAsDashes) {
    EXPECT_EQ(Print(std::optional<AppHostControlState>{}), "--");
}

TEST(AppHostControlState, KnownStatePrintsAfterABlank) {
    EXPECT_EQ(Print(std::optional(AppHostControlState::Running)), " Running (2)");
    EXPECT_EQ(Print(std::optional(AppHostControlState{7})), "  (7)");
}

TEST(AppHostControlEvent, PrintsItsNumber) {
    EXPECT_EQ(Print(AppHostControlEvent::ShutDown), "1");
    EXPECT_EQ(Print(AppHostControlEvent::KnxCommunicationOn), "2");
    EXPECT_EQ(Print(AppHostControlEvent::KnxCommunicationOff), "3");
}

}  // namespace
