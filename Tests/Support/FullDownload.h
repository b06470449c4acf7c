#pragma once

#include "KnxConfiguration.h"
#include "Orn/BoundedInt.h"

namespace TestSupport {

/// A download that uses everything: 520 COs of many data-point types, with some that are out of use, and 50 parameters
/// of each kind.
Zandrel::KnxConfiguration MakeFullDownload(Zandrel::LogicalDeviceId logicalDevice);

}  // namespace TestSupport
