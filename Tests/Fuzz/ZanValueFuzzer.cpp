/// The serialised form of a value: what is read can be written and read again, whatever was read.

#include <cmath>
#include <optional>
#include <stdexcept>

#include "FuzzTarget.h"
#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/ZanValue.h"

namespace {

using Fuzz::Require;
using Zandrel::ZANVALUE;

std::optional<ZANVALUE> Read(const std::string& text) {
    try {
        return ZANVALUE::Deserialize(text);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

void CheckConversions(const ZANVALUE& value) {
    const auto boolean = value.GetBoolean();
    const auto integer = value.GetInteger();
    const auto number = value.GetFloat();
    const auto single = value.GetSingle();
    Require(!boolean || integer == (*boolean ? 1 : 0), "a boolean is the integer 0 or 1");
    Require(!integer || !number || value.GetType() == ZANVALUE::Type::Text ||
                ZANVALUE::FromFloat(*number).GetInteger() == integer,
            "an integer that is a float is the same number");
    Require(!single || std::isnan(*single) || number == static_cast<double>(*single),
            "a single is the same number as the float");
}

/// A value that has come from the bus goes back to it unchanged.
void CheckGroupValue(const ZANVALUE& value, std::uint32_t dpt) {
    const auto groupValue = Zandrel::ZanValueToGroupValue(value, dpt);
    if (!groupValue) {
        return;
    }
    const auto back = Zandrel::GroupValueToZanValue(*groupValue, dpt);
    Require(back.has_value(), "what goes to the bus can come from it");
    const auto again = Zandrel::ZanValueToGroupValue(*back, dpt);
    Require(again && again->GetBytes() == groupValue->GetBytes(), "a value from the bus goes back unchanged");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::Input input(data, size);
    const std::uint32_t mainType = input.TakeByte();
    const std::uint32_t dpt = mainType << 16U | input.TakeUInt16();
    const auto value = Read(input.TakeRest());
    if (!value) {
        return 0;
    }
    const std::string serialised = value->Serialize();
    const auto again = Read(serialised);
    Require(again.has_value(), "what is written can be read");
    Require(*again == *value, "what is written reads back as the same value");
    Require(again->Serialize() == serialised, "a value has one serialised form");
    CheckConversions(*value);
    CheckGroupValue(*value, dpt);
    return 0;
}
