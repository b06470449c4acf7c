#pragma once

namespace LocalDevice {

/// A descriptor of ours must not take the place of a standard stream that was closed: opens the null device there. It
/// can be read only, so that what is written to a closed output still fails. For the beginning of main.
void OpenStandardStreams();

}  // namespace LocalDevice
