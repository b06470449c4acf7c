#pragma once

#include <string>

namespace Zandrel {

/// The functions that led to the caller's caller, innermost first, joined with " < ": each demangled, or as the frame
/// is printed where it has no symbol; 256 frames at most. The caller, which captures, is left out, and so are functions
/// whose name contains "Backtrace".
std::string CaptureCallStackWithBacktrace();

}  // namespace Zandrel
