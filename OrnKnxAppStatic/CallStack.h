#pragma once

#include <string>

namespace Zandrel {

/// The functions that led here, innermost first, joined with " < ": each demangled, or as the frame is printed where it
/// has no symbol; 256 frames at most. Functions whose name contains "Backtrace" are left out, this one among them.
std::string CaptureCallStackWithBacktrace();

}  // namespace Zandrel
