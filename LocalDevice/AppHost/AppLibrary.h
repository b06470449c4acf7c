#pragma once

#include <stdexcept>
#include <string>

#include "orn/app.h"

namespace LocalDevice {

/// The functions of an app.
struct AppFunctions {
    decltype(&orn_app_start) start;
    decltype(&orn_app_stop) stop;
};

/// A library that is no app this host can run: `what()` is one line that says why.
class AppLibraryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Loads an app. It stays loaded until the process ends, because threads that an app leaves behind still run its code.
/// Throws `AppLibraryError`.
AppFunctions LoadAppLibrary(const std::string& path);

}  // namespace LocalDevice
