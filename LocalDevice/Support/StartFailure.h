#pragma once

namespace LocalDevice {

/// The exit code of a program whose libraries cannot be initialised: 1. A program in which 1 says something else
/// defines this function itself.
int GetStartFailureCode() noexcept;

}  // namespace LocalDevice
