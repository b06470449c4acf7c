#include "AppHostControlState.h"

#include <ostream>

namespace Zandrel {

namespace {

const char* NameOf(AppHostControlState state) {
    switch (state) {
        case AppHostControlState::Stopped:
            return "Stopped";
        case AppHostControlState::Starting:
            return "Starting";
        case AppHostControlState::Running:
            return "Running";
        case AppHostControlState::Stopping:
            return "Stopping";
    }
    return "";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, AppHostControlState state) {
    return stream << NameOf(state) << " (" << static_cast<std::int64_t>(state) << ")";
}

std::ostream& operator<<(std::ostream& stream, const std::optional<AppHostControlState>& state) {
    return state ? stream << ' ' << *state : stream << "--";
}

std::ostream& operator<<(std::ostream& stream, AppHostControlEvent event) {
    return stream << static_cast<std::int64_t>(event);
}

}  // namespace Zandrel
