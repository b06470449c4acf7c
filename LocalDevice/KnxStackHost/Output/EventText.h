#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "Output/HostEvents.h"

namespace LocalDevice {

/// Local time, "HH:MM:SS.mmm", also for a time before 1970. One that the system's `time_t` does not hold, with 32 bits
/// after 2038, has the wrong hour.
std::string FormatTime(std::chrono::system_clock::time_point time);

/// One line for people, without line feed and fit to be printed; with `isColoured` in the colours of an ANSI terminal.
std::string FormatEvent(const HostEvent& event, bool isColoured);

/// A line of the plug-in's log without what only a developer of the plug-in wants: the "[APP ID] " in front, the name
/// of the function and, behind an error, the call stack. `level`: as log4cplus counts. A part of `line`.
std::string_view CompactLogText(int level, std::string_view line);

}  // namespace LocalDevice
