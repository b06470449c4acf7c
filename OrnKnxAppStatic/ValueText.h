#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <string>

#include "KnxStack/GroupValue.h"
#include "Zandrel/ZanValue.h"

/// Values as log lines print them.
namespace Zandrel {

/// TYPE " -> " TEXT, such as "3 -> 42".
std::string DescribeValue(const ZANVALUE& value);

/// The same of a group value of type `dpt`; "--" when it does not convert.
std::string DescribeGroupValue(const KnxStack::GroupValue& value, std::uint32_t dpt);

/// Why nothing is written to CO `co`, of type `dpt`.
std::string DescribeUnconvertible(const ZANVALUE& value, std::uint16_t co, std::uint32_t dpt);

/// The bytes in hexadecimal, such as "0c00".
std::string DescribeBytes(const KnxStack::GroupValue& value);

/// "2026-Nov-22 07:23:20.487748", as `boost::posix_time::to_simple_string` prints a moment: without the fraction where
/// it is 0.
std::string DescribeTime(boost::posix_time::ptime time);

}  // namespace Zandrel
