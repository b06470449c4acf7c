#pragma once

#include <boost/endian/conversion.hpp>

#include "Zandrel/DataPointTypes.h"

namespace Zandrel {

/// The number that the first bytes are, most significant one first.
template <typename Number>
Number LoadBigEndian(const DataPointType::Bytes& bytes) {
    return boost::endian::endian_load<Number, sizeof(Number), boost::endian::order::big>(bytes.data());
}

template <typename Number>
DataPointType::Bytes StoreBigEndian(Number number) {
    DataPointType::Bytes bytes(sizeof(Number));
    boost::endian::endian_store<Number, sizeof(Number), boost::endian::order::big>(bytes.data(), number);
    return bytes;
}

}  // namespace Zandrel
