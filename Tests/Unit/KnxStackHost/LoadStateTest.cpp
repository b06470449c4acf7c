#include "InterfaceObjects/LoadState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace LocalDevice {
namespace {

using testing::ElementsAre;

/// The state after each event, by state and event as they are numbered on the wire.
constexpr std::array<std::array<LoadState, 5>, 5> Table{{
    // no operation, start loading, load completed, additional load controls, unload
    {LoadState::Unloaded, LoadState::Loading, LoadState::Unloaded, LoadState::Unloaded, LoadState::Unloaded},
    {LoadState::Loaded, LoadState::Loading, LoadState::Loaded, LoadState::Error, LoadState::Unloaded},
    {LoadState::Loading, LoadState::Loading, LoadState::Loaded, LoadState::Loading, LoadState::Unloaded},
    {LoadState::Error, LoadState::Error, LoadState::Error, LoadState::Error, LoadState::Unloaded},
    {LoadState::Unloading, LoadState::Error, LoadState::Error, LoadState::Error, LoadState::Unloaded},
}};

TEST(LoadStateTest, EveryEventInEveryStateLeadsToTheStateOfTheStandard) {
    for (std::uint8_t state = 0; state < 5; ++state) {
        for (std::uint8_t event = 0; event < 5; ++event) {
            EXPECT_EQ(Next(LoadState{state}, LoadEvent{event}), Table.at(state).at(event))
                << "state " << int{state} << ", event " << int{event};
        }
    }
}

TEST(LoadStateTest, AnUnknownEventChangesNothing) {
    EXPECT_EQ(Next(LoadState::Loaded, LoadEvent{5}), LoadState::Loaded);
    EXPECT_EQ(Next(LoadState::Loading, LoadEvent{255}), LoadState::Loading);
}

TEST(LoadStateTest, AnEventIsWrittenAsTenOctets) {
    EXPECT_THAT(ToOctets(LoadEvent::Unload), ElementsAre(4, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST(LoadStateTest, ReplayedEventsLeadToTheStateTheyAreFor) {
    for (const LoadState state : {LoadState::Unloaded, LoadState::Loaded, LoadState::Loading, LoadState::Error}) {
        LoadState replayed = LoadState::Unloaded;
        for (const LoadEvent event : EventsLeadingTo(state)) {
            replayed = Next(replayed, event);
        }
        EXPECT_EQ(replayed, state) << ToText(state);
    }
}

TEST(LoadStateTest, ALoadedObjectReplaysStartAndCompletion) {
    EXPECT_THAT(EventsLeadingTo(LoadState::Loaded), ElementsAre(LoadEvent::StartLoading, LoadEvent::LoadCompleted));
}

TEST(LoadStateTest, StatesHaveNames) {
    EXPECT_STREQ(ToText(LoadState::Unloaded), "unloaded");
    EXPECT_STREQ(ToText(LoadState::Loaded), "loaded");
    EXPECT_STREQ(ToText(LoadState::Loading), "loading");
    EXPECT_STREQ(ToText(LoadState::Error), "error");
    EXPECT_STREQ(ToText(LoadState::Unloading), "unloading");
    EXPECT_STREQ(ToText(LoadState{9}), "unknown");
}

}  // namespace
}  // namespace LocalDevice
