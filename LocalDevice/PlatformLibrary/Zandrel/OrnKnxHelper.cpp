#include "Zandrel/OrnKnxHelper.h"

#include <string>

namespace Zandrel::OrnKnxHelper {

KnxStyleString DecodeIndividualAddressToString(std::uint32_t address) {
    const auto area = (address >> 12U) & 0xFU;
    const auto line = (address >> 8U) & 0xFU;
    const auto device = address & 0xFFU;
    return KnxStyleString(std::to_string(area) + '.' + std::to_string(line) + '.' + std::to_string(device));
}

}  // namespace Zandrel::OrnKnxHelper
