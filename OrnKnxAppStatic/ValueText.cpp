#include "ValueText.h"

#include <array>
#include <boost/algorithm/hex.hpp>
#include <boost/date_time/posix_time/time_formatters.hpp>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
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

std::string DescribeTime(boost::posix_time::ptime time) {
    if (time.is_special()) {
        return boost::posix_time::to_simple_string(time);
    }
    // The library makes a stream for each of the parts, which was a fifth of what the plug-in did for a telegram.
    const auto date = time.date().year_month_day();
    const auto clock = time.time_of_day();
    const std::int64_t microseconds = clock.fractional_seconds();
    std::array<char, 64> text{};
    const int length =
        std::snprintf(text.data(), text.size(),
                      microseconds == 0 ? "%04u-%s-%02u %02d:%02d:%02d" : "%04u-%s-%02u %02d:%02d:%02d.%06" PRId64,
                      unsigned{date.year}, date.month.as_short_string(), unsigned{date.day.as_number()},
                      static_cast<int>(clock.hours()), static_cast<int>(clock.minutes()),
                      static_cast<int>(clock.seconds()), microseconds);
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace Zandrel
