#pragma once

#include "PackageOptions.h"

namespace LocalDevice {

/// Makes the app directory a signed package, and checks it as the device does. Where the device would not accept it the
/// directory is left as it was, and so it is where another run signs or installs it. Throws `PackageError`.
void RunSign(const PackageOptions& options);

}  // namespace LocalDevice
