#include "KnxStack/GroupValue.h"

#include <boost/endian/conversion.hpp>
#include <stdexcept>

namespace KnxStack {

float GroupValue::GetFloatValue() const {
    if (bytes_.size() != sizeof(float)) {
        throw std::out_of_range("a single-precision number takes 4 bytes");
    }
    return boost::endian::endian_load<float, sizeof(float), boost::endian::order::big>(bytes_.data());
}

}  // namespace KnxStack
