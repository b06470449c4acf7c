#include "InterfaceObjects/LoadState.h"

namespace LocalDevice {

namespace {

LoadState StartLoading(LoadState state) {
    return state == LoadState::Error || state == LoadState::Unloading ? LoadState::Error : LoadState::Loading;
}

LoadState CompleteLoading(LoadState state) {
    switch (state) {
        case LoadState::Loading:
            return LoadState::Loaded;
        case LoadState::Unloading:
            return LoadState::Error;
        default:
            return state;
    }
}

LoadState ControlLoading(LoadState state) {
    return state == LoadState::Loaded || state == LoadState::Unloading ? LoadState::Error : state;
}

}  // namespace

const char* ToText(LoadState state) {
    switch (state) {
        case LoadState::Unloaded:
            return "unloaded";
        case LoadState::Loaded:
            return "loaded";
        case LoadState::Loading:
            return "loading";
        case LoadState::Error:
            return "error";
        case LoadState::Unloading:
            return "unloading";
    }
    return "unknown";
}

LoadState Next(LoadState state, LoadEvent event) {
    switch (event) {
        case LoadEvent::NoOperation:
            break;
        case LoadEvent::StartLoading:
            return StartLoading(state);
        case LoadEvent::LoadCompleted:
            return CompleteLoading(state);
        case LoadEvent::AdditionalLoadControls:
            return ControlLoading(state);
        case LoadEvent::Unload:
            return LoadState::Unloaded;
    }
    return state;
}

std::vector<std::uint8_t> ToOctets(LoadEvent event) {
    constexpr std::size_t OctetCount = 10;
    std::vector<std::uint8_t> octets(OctetCount, 0);
    octets.front() = static_cast<std::uint8_t>(event);
    return octets;
}

std::vector<LoadEvent> EventsLeadingTo(LoadState state) {
    switch (state) {
        case LoadState::Loaded:
            return {LoadEvent::StartLoading, LoadEvent::LoadCompleted};
        case LoadState::Loading:
            return {LoadEvent::StartLoading};
        case LoadState::Error:
            return {LoadEvent::StartLoading, LoadEvent::LoadCompleted, LoadEvent::AdditionalLoadControls};
        case LoadState::Unloaded:
        case LoadState::Unloading:
            break;
    }
    return {};
}

}  // namespace LocalDevice
