#pragma once

#include <chrono>

namespace LocalDevice {

/// From the signal that ends it on, a KNX stack host is there for this long at most: then it ends hard.
///
/// That is more than the application program may take: a restart that is under way and the exit that follows it wait
/// for up to 180 s each, for four answers of the device stack (30 s each), for an app to start and to stop (5 s and 10
/// s), for killed processes, the thread of the cycle and the debug tasks; its deletion for up to 20 s.
constexpr std::chrono::seconds LongestHostEnd{400};

}  // namespace LocalDevice
