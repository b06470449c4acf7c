#include "Outcome.h"

#include <algorithm>

namespace BridgeModel {

namespace {

const char* GetName(Effect::What what) {
    switch (what) {
        case Effect::What::Set:
            return "set";
        case Effect::What::SetResponse:
            return "set as response";
        case Effect::What::Get:
            return "get";
        case Effect::What::Echo:
            return "echo taken";
        case Effect::What::Asked:
            return "asked for";
        case Effect::What::Written:
            break;
    }
    return "written to";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    stream << (outcome.result ? "true" : "false");
    for (const Effect& effect : outcome.effects) {
        stream << "; " << GetName(effect.what) << ' ' << effect.number << ' ' << Printable(effect.content);
    }
    if (!outcome.answer.empty()) {
        stream << "; answer " << ToText(outcome.answer);
    }
    for (const auto* lines : {&outcome.log, &outcome.globalLog}) {
        for (const std::string& line : *lines) {
            stream << "; " << Printable(line);
        }
    }
    return stream;
}

void SortByCo(std::vector<Effect>& effects) {
    std::stable_sort(effects.begin(), effects.end(),
                     [](const Effect& a, const Effect& b) { return a.number < b.number; });
}

}  // namespace BridgeModel
