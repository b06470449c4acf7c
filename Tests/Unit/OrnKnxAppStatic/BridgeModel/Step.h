#pragma once

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "Zandrel/ZanValue.h"

namespace BridgeModel {

using Bytes = std::vector<std::uint8_t>;

/// A CO of the device and the data-point type that it has at first, main number in the upper 16 bits.
struct CoType {
    std::uint16_t co;
    std::uint32_t dpt;
};

constexpr std::uint32_t Dpt(std::uint32_t mainNumber, std::uint32_t subNumber) {
    return (mainNumber << 16U) | subNumber;
}

/// The COs that have a data point: of some types there are two, and one has no type.
constexpr std::array<CoType, 9> Cos{{{1, Dpt(1, 1)},
                                     {2, Dpt(5, 10)},
                                     {3, Dpt(14, 56)},
                                     {4, Dpt(14, 56)},
                                     {5, Dpt(16, 1)},
                                     {6, Dpt(16, 1)},
                                     {7, Dpt(9, 1)},
                                     {8, 0},
                                     {520, Dpt(7, 1)}}};

/// The answer of the device stack to a request that it refuses.
constexpr const char* RefusalText = "no value";

/// How the neighbours of the bridge behave during a step.
struct Surroundings {
    enum class GroupObject { Writable, CutOff, Missing };

    bool isConnected = true;       ///< there are messengers
    bool deviceStackTakes = true;  ///< values that are set
    bool echoesAtOnce = false;     ///< the device stack reports a value before it has returned from setting it
    bool isAttached = true;        ///< the KNX stack is there
    bool stackTakes = true;        ///< values that are written
    GroupObject groupObject = GroupObject::Writable;
};

/// One thing that happens to a bridge. Which members count depends on what it is.
struct Step {
    enum class What {
        BusWrite,     ///< `co`, `bytes`
        BusResponse,  ///< `co`, `bytes`
        BusRead,      ///< `co`, `answer`, `value`
        AppWrite,     ///< `id`, `value`
        TimePasses,   ///< `time` in microseconds of the wall clock, also backwards
        TickersGoOn,  ///< `time` in units of the tickers
        NewSettings,  ///< `speed`, `wrapping`
        NewType,      ///< `co`, `dpt`
        TickersEnd,
    };
    enum class Answer { Value, Silence, Refusal };

    What what = What::TickersEnd;
    Surroundings surroundings{};
    std::uint16_t co = 0;
    std::uint32_t dpt = 0;
    unsigned long id = 0;
    Bytes bytes{};
    Zandrel::ZANVALUE value{};
    Answer answer = Answer::Value;
    std::int64_t time = 0;
    unsigned speed = 0;
    unsigned wrapping = 0;
};

std::ostream& operator<<(std::ostream& stream, const Step& step);

/// In hexadecimal.
std::string ToText(const Bytes& bytes);
/// What does not print is written as "\xFF".
std::string Printable(const std::string& text);

}  // namespace BridgeModel
