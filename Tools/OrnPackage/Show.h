#pragma once

#include "PackageOptions.h"

namespace LocalDevice {

/// Prints the developer's certificate and the file list of a package, without checking either. Throws `PackageError`.
void RunShow(const PackageOptions& options);

}  // namespace LocalDevice
