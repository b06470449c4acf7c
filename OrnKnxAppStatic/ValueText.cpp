#include "ValueText.h"

#include <boost/algorithm/hex.hpp>
#include <iterator>

#include "Zandrel/GroupValueConversion.h"

namespace Zandrel {

std::string DescribeValue(const ZANVALUE& value) {
    return std::to_string(static_cast<unsigned>(value.GetType())) + " -> " + value.ToString();
}

std::string DescribeGroupValue(const KnxStack::GroupValue& value, std::uint32_t dpt) {
    const auto zanValue = GroupValueToZanValue(value, dpt);
    return zanValue ? DescribeValue(*zanValue) : "--";
}

std::string DescribeUnconvertible(const ZANVALUE& value, std::uint16_t co, std::uint32_t dpt) {
    return "This ZANVALUE does not convert to a valid GroupValue for the CO " + std::to_string(co) + " (DPT " +
           std::to_string(dpt) + "): '" + DescribeValue(value) + "'";
}

std::string DescribeBytes(const KnxStack::GroupValue& value) {
    std::string text;
    boost::algorithm::hex_lower(value.GetBytes(), std::back_inserter(text));
    return text;
}

}  // namespace Zandrel
