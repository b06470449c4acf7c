#pragma once

#include <cstdint>

#include "Zandrel/EncodedString.h"

namespace Zandrel::OrnKnxHelper {

/// The text form of a KNX individual address: area (4 bits), line (4 bits), device (8 bits), as "1.1.10". Only the
/// lower 16 bits of `address` count.
KnxStyleString DecodeIndividualAddressToString(std::uint32_t address);

}  // namespace Zandrel::OrnKnxHelper
