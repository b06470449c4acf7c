#pragma once

#include <cstdint>
#include <vector>

namespace LocalDevice {

/// The load states of an interface object, with the numbers that they have on the wire.
enum class LoadState : std::uint8_t { Unloaded = 0, Loaded = 1, Loading = 2, Error = 3, Unloading = 4 };

/// The load-control events, with the numbers that they have on the wire.
enum class LoadEvent : std::uint8_t {
    NoOperation = 0,
    StartLoading = 1,
    LoadCompleted = 2,
    AdditionalLoadControls = 3,
    Unload = 4,
};

/// "unloaded", "loaded", "loading", "error" or "unloading"; "unknown" for another number.
const char* ToText(LoadState state);

/// The load state machine of the KNX standard.
LoadState Next(LoadState state, LoadEvent event);

/// What a configuration tool writes to property 5: 10 octets, the event first.
std::vector<std::uint8_t> ToOctets(LoadEvent event);

/// The events that bring a fresh state machine into `state`.
std::vector<LoadEvent> EventsLeadingTo(LoadState state);

}  // namespace LocalDevice
