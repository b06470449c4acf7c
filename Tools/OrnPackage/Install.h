#pragma once

#include "PackageOptions.h"
#include "VerificationResult.h"

namespace LocalDevice {

/// Checks a package like `RunVerify` and, where it is right, puts it onto a device below `options.root`: the package in
/// the place of the managed app that is there, the CA's certificate in the place of the one that the device trusts.
/// Changes nothing where the package is not right or changes meanwhile, or another run is at work on the device or
/// signs the package. Throws `PackageError`. Sets the umask of the process.
Zandrel::VerificationResult RunInstall(const PackageOptions& options);

}  // namespace LocalDevice
