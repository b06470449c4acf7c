#pragma once

#include "PackageOptions.h"
#include "VerificationResult.h"

namespace LocalDevice {

/// Checks a package as the device does; prints the device's messages and, last, its result. Throws
/// `PackageError` where there is no CA certificate.
Zandrel::VerificationResult RunVerify(const PackageOptions& options);

}  // namespace LocalDevice
