#include "Step.h"

#include <boost/algorithm/hex.hpp>
#include <iterator>

namespace BridgeModel {

namespace {

void PrintSurroundings(std::ostream& stream, const Surroundings& surroundings) {
    const auto print = [&stream](bool isThere, const char* text) { stream << (isThere ? text : ""); };
    print(!surroundings.isConnected, ", not connected");
    print(!surroundings.deviceStackTakes, ", device stack refuses");
    print(surroundings.echoesAtOnce, ", echo at once");
    print(!surroundings.isAttached, ", no KNX stack");
    print(!surroundings.stackTakes, ", KNX stack refuses");
    print(surroundings.groupObject == Surroundings::GroupObject::CutOff, ", group object cut off");
    print(surroundings.groupObject == Surroundings::GroupObject::Missing, ", group object missing");
}

void PrintAnswer(std::ostream& stream, const Step& step) {
    switch (step.answer) {
        case Step::Answer::Value:
            stream << Printable(step.value.Serialize());
            break;
        case Step::Answer::Silence:
            stream << "silence";
            break;
        case Step::Answer::Refusal:
            stream << "refusal";
            break;
    }
}

void PrintEvent(std::ostream& stream, const Step& step) {
    switch (step.what) {
        case Step::What::BusWrite:
            stream << "bus writes " << ToText(step.bytes) << " on CO " << step.co;
            break;
        case Step::What::BusResponse:
            stream << "bus responds " << ToText(step.bytes) << " on CO " << step.co;
            break;
        case Step::What::BusRead:
            stream << "bus reads CO " << step.co << ", device stack answers ";
            PrintAnswer(stream, step);
            break;
        case Step::What::AppWrite:
            stream << "device stack reports " << Printable(step.value.Serialize()) << " of " << step.id;
            break;
        case Step::What::TimePasses:
            stream << "wall clock moves by " << step.time << " us";
            break;
        case Step::What::TickersGoOn:
            stream << "tickers go on by " << step.time << " units";
            break;
        case Step::What::NewSettings:
            stream << "speed " << step.speed << ", wrapping " << step.wrapping;
            break;
        case Step::What::NewType:
            stream << "CO " << step.co << " becomes " << (step.dpt >> 16U) << '.' << (step.dpt & 0xFFFFU);
            break;
        case Step::What::TickersEnd:
            stream << "tickers end";
            break;
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Step& step) {
    PrintEvent(stream, step);
    PrintSurroundings(stream, step.surroundings);
    return stream;
}

std::string ToText(const Bytes& bytes) {
    std::string text;
    boost::algorithm::hex_lower(bytes, std::back_inserter(text));
    return text;
}

std::string Printable(const std::string& text) {
    std::string printable;
    for (const char character : text) {
        if (character >= ' ' && character <= '~') {
            printable += character;
            continue;
        }
        printable += "\\x";
        boost::algorithm::hex(std::string(1, character), std::back_inserter(printable));
    }
    return printable;
}

}  // namespace BridgeModel
