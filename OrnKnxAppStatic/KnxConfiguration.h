#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Zandrel/KnxOdsMapping.h"

namespace Zandrel {

constexpr std::uint16_t MaxCoNumber = 520;
constexpr std::uint16_t ParameterSlots = 50;

/// One parameter, as the KNX side reads it and the object model publishes it.
struct ParamAttr {
    bool active = false;          ///< the slot is filled
    unsigned long channelId = 0;  ///< object-model id of its channel
    std::string value;            ///< as text; empty when unknown
    std::string unit;             ///< always empty: a download carries none
    ParameterType type = ParameterType::Ip;
};

/// One communication object (CO), as the KNX side reads it and the object model publishes it.
struct CoChannelAttr {
    bool valid = false;         ///< has a data-point type with a main number, so it is in use
    bool mayBeWritten = false;  ///< the group object may be written to the bus; published as event-always
    std::uint16_t number = 0;   ///< 1 to 520; 0 in the first entry of the list, which stands for no CO
    unsigned long channelId = 0;
    std::string name;                ///< "Co" number
    std::uint32_t dpt = 0;           ///< main number in the upper 16 bits, sub number in the lower 16 bits
    bool communicationFlag = false;  ///< property 66
};

/// What one init cycle has read of the download. Each cycle fills one of its own.
struct KnxConfiguration {
    std::vector<CoChannelAttr> cos;       ///< by CO number: 521 entries, the first unused
    std::vector<ParamAttr> ipParameters;  ///< 50 entries, slot n at index n - 1
    std::vector<ParamAttr> numberParameters;
    std::vector<ParamAttr> textParameters;
};

}  // namespace Zandrel
