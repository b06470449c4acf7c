#pragma once

#include "Zandrel/DataPointTypes.h"

namespace Zandrel {

/// A part of the table of data-point types. The rows of a main type lie in one family, next to each other, the one for
/// any sub type last. Lives as long as the program.
struct DataPointFamily {
    const DataPointType* begin;
    const DataPointType* end;
};

DataPointFamily GetNumberTypes();
DataPointFamily GetBitSetTypes();
DataPointFamily GetTextTypes();
DataPointFamily GetRecordTypes();

/// As which the values of a main type are declared.
struct Declared {
    ZANVALUE::Type type;
    std::uint16_t subtype;
    const char* initial;
};

constexpr Declared DeclaredBoolean{ZANVALUE::Type::Boolean, ZANVALUE::PlainSubtype, "0"};
constexpr Declared DeclaredInteger{ZANVALUE::Type::Integer, ZANVALUE::PlainSubtype, "0"};
constexpr Declared DeclaredFloat{ZANVALUE::Type::Float, ZANVALUE::PlainSubtype, "0"};
constexpr Declared DeclaredSingle{ZANVALUE::Type::Float, ZANVALUE::SinglePrecisionSubtype, "0"};
constexpr Declared DeclaredText(const char* initial) {
    return {ZANVALUE::Type::Text, ZANVALUE::PlainSubtype, initial};
}

constexpr int AnySub = DataPointType::AnySub;

/// A row of the table. `Coding` has the `Size` of its values in bytes and the two directions of `DataPointType`.
template <typename Coding>
constexpr DataPointType Row(std::uint32_t mainNumber, int subNumber, const Declared& declared) {
    return {mainNumber,       subNumber,        Coding::Size,    declared.type,
            declared.subtype, declared.initial, &Coding::Decode, &Coding::Encode};
}

template <typename Table>
DataPointFamily FamilyOf(const Table& table) {
    return {table.data(), table.data() + table.size()};
}

}  // namespace Zandrel
