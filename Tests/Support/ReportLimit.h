#pragma once

#include <chrono>

namespace TestSupport {

/// The two seconds within which the run state tells of trouble with a managed app, and time for a machine that is busy
/// with other tests.
#if defined(ORN_EMULATED) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr std::chrono::milliseconds ReportLimit{6000};
#else
inline constexpr std::chrono::milliseconds ReportLimit{3000};
#endif

}  // namespace TestSupport
