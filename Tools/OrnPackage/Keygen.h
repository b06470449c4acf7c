#pragma once

#include "PackageOptions.h"

namespace LocalDevice {

/// Makes a test CA and a developer whom it has certified. Writes all four files or, where one of them is there already,
/// none. Throws `PackageError`.
void RunKeygen(const PackageOptions& options);

}  // namespace LocalDevice
