#include "DataPointTypes.h"

#include <algorithm>

#include "DataPoints/Families.h"

namespace Zandrel {

const DataPointType* FindDataPointType(std::uint32_t dpt) {
    const std::uint32_t mainNumber = dpt >> 16U;
    const int subNumber = static_cast<int>(dpt & 0xFFFFU);
    const auto isWanted = [&](const DataPointType& type) {
        return type.mainNumber == mainNumber &&
               (type.subNumber == subNumber || type.subNumber == DataPointType::AnySub);
    };
    for (const DataPointFamily& family : {GetNumberTypes(), GetBitSetTypes(), GetTextTypes(), GetRecordTypes()}) {
        const auto* const row = std::find_if(family.begin, family.end, isWanted);
        if (row != family.end) {
            return row;
        }
    }
    return nullptr;
}

}  // namespace Zandrel
