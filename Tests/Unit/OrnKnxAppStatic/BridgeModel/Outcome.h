#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Step.h"

namespace BridgeModel {

/// What the bridge does to one of its neighbours.
struct Effect {
    enum class What {
        Set,          ///< in the device stack: `number` is the data point's id, `content` the serialised value
        SetResponse,  ///< likewise
        Get,          ///< from the device stack
        Echo,         ///< `number`: 1 when the echo that came at once was taken
        Asked,        ///< the KNX stack, for the group object of CO `number`
        Written,      ///< to CO `number`: `content` is its bytes
    };

    What what;
    unsigned long number;
    std::string content{};

    friend bool operator==(const Effect& a, const Effect& b) {
        return a.what == b.what && a.number == b.number && a.content == b.content;
    }
};

/// All that can be seen of a step.
struct Outcome {
    bool result = true;  ///< of the callback
    std::vector<Effect> effects{};
    Bytes answer{};                        ///< what the callback made of the group value of a read request
    std::vector<std::string> log{};        ///< "LEVEL message", from INFO on
    std::vector<std::string> globalLog{};  ///< likewise

    friend bool operator==(const Outcome& a, const Outcome& b) {
        return a.result == b.result && a.effects == b.effects && a.answer == b.answer && a.log == b.log &&
               a.globalLog == b.globalLog;
    }
    friend bool operator!=(const Outcome& a, const Outcome& b) { return !(a == b); }
};

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

/// Tickers write each on its own: only the order on one CO counts.
void SortByCo(std::vector<Effect>& effects);

}  // namespace BridgeModel
