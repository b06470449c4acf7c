#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>

namespace Zandrel {

/// The run state that an app reports. As wide as the integers of the device stack: no number that it may send turns
/// into another one.
enum class AppHostControlState : std::int64_t { Stopped = 0, Starting = 1, Running = 2, Stopping = 3 };

/// What the plug-in tells a running app.
enum class AppHostControlEvent : std::int64_t { ShutDown = 1, KnxCommunicationOn = 2, KnxCommunicationOff = 3 };

/// Writes "Running (2)"; an unknown number has no name: " (7)".
std::ostream& operator<<(std::ostream& stream, AppHostControlState state);

/// Writes "--" for none; a known state after a blank: " Running (2)".
std::ostream& operator<<(std::ostream& stream, const std::optional<AppHostControlState>& state);

/// Writes the bare number.
std::ostream& operator<<(std::ostream& stream, AppHostControlEvent event);

}  // namespace Zandrel
