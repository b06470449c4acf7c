#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Zandrel/DataPointTypes.h"

/// What becomes of the codes of a data-point type, on the way from the bus to the device stack and back.
namespace DataPointCodes {

using Bytes = std::vector<std::uint8_t>;
using Number = boost::multiprecision::cpp_int;

constexpr std::uint32_t Dpt(std::uint32_t mainNumber, std::uint32_t subNumber) {
    return mainNumber << 16U | subNumber;
}

/// The lower `size` bytes of a number, most significant one first.
Bytes BigEndian(std::uint64_t number, std::size_t size);

/// The serialised value of a group value.
std::optional<std::string> Decode(std::uint32_t dpt, Bytes bytes);

/// The group value of a serialised value.
std::optional<Bytes> Encode(std::uint32_t dpt, const std::string& serialised);

enum class Fate {
    Canonical,  ///< comes back as it is
    Altered,    ///< comes back as another code of the same value
    NoValue,
};

/// Follows a code through both text forms of its value. Throws `std::logic_error` where they do not mean the same, or
/// where the value has no code.
Fate FateOf(std::uint32_t dpt, const Bytes& bytes);

struct Counts {
    Number canonical;
    Number altered;
    Number noValue;
};

/// How many codes have which fate. Tries each code where there are few, and otherwise each code of the parts that do
/// not depend on each other.
Counts CountCodes(std::uint32_t dpt, const Zandrel::DataPointType& type);

/// What the parts of a code tell of its fate. Only for types of a size up to 8 bytes.
Fate FateByParts(std::uint32_t dpt, const Zandrel::DataPointType& type, std::uint64_t code);

/// A random code whose parts are, at even odds each, those of the default value.
std::uint64_t RandomCode(std::uint32_t dpt, const Zandrel::DataPointType& type, std::uint64_t random,
                         std::uint64_t selection);

}  // namespace DataPointCodes
