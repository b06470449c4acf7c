#include "ValueText.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <boost/date_time/posix_time/time_formatters.hpp>
#include <cstddef>
#include <iterator>

#include "Zandrel/GroupValueConversion.h"

namespace Zandrel {

namespace {

void AppendDigits(std::string& text, std::int64_t number, std::size_t least) {
    const std::string digits = std::to_string(number);
    text.append(least - std::min(least, digits.size()), '0').append(digits);
}

}  // namespace

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

std::string DescribeTime(boost::posix_time::ptime time) {
    if (time.is_special()) {
        return boost::posix_time::to_simple_string(time);
    }
    // The library makes a stream for each of the parts, which was a fifth of what the plug-in did for a telegram.
    const auto date = time.date().year_month_day();
    const auto clock = time.time_of_day();
    std::string text;
    AppendDigits(text, date.year, 4);
    text.append(1, '-').append(date.month.as_short_string()).append(1, '-');
    AppendDigits(text, date.day, 2);
    text.append(1, ' ');
    AppendDigits(text, clock.hours(), 2);
    text.append(1, ':');
    AppendDigits(text, clock.minutes(), 2);
    text.append(1, ':');
    AppendDigits(text, clock.seconds(), 2);
    if (clock.fractional_seconds() != 0) {
        text.append(1, '.');
        AppendDigits(text, clock.fractional_seconds(), 6);
    }
    return text;
}

}  // namespace Zandrel
