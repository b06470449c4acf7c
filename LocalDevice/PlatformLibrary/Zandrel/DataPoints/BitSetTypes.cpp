#include <array>

#include "Families.h"
#include "WholeCoding.h"

namespace Zandrel {

namespace {

template <std::uint8_t Defined>
using Set8 = WholeCoding<std::uint8_t, &IsCodeWithin<std::uint8_t, Defined>>;

template <std::uint16_t Defined>
using Set16 = WholeCoding<std::uint16_t, &IsCodeWithin<std::uint16_t, Defined>>;

// The sub types that leave bits undefined, each with the bits that it defines. Of any other one all bits are defined.
constexpr std::array BitSetTable{
    Row<Set8<0x1F>>(21, 1, DeclaredInteger),     // general status
    Row<Set8<0x07>>(21, 2, DeclaredInteger),     // device control
    Row<Set8<0x01>>(21, 101, DeclaredInteger),   // forcing signal of a cooling
    Row<Set8<0x07>>(21, 103, DeclaredInteger),   // status of a solar hot-water controller
    Row<Set8<0x07>>(21, 104, DeclaredInteger),   // fuels
    Row<Set8<0x01>>(21, 105, DeclaredInteger),   // status of a cooling controller
    Row<Set8<0x0F>>(21, 106, DeclaredInteger),   // status of a ventilation controller
    Row<Set8<0x7F>>(21, 601, DeclaredInteger),   // errors of a light actuator
    Row<Set8<0x07>>(21, 1000, DeclaredInteger),  // radio communication modes
    Row<Set8<0x07>>(21, 1001, DeclaredInteger),  // radio filters
    Row<Set8<0x01>>(21, 1002, DeclaredInteger),  // security report
    Row<Set8<0x07>>(21, 1201, DeclaredInteger),  // phases
    Row<Set8<0xFF>>(21, AnySub, DeclaredInteger),
    Row<Set16<0x00FF>>(22, 100, DeclaredInteger),   // status of a domestic hot-water controller
    Row<Set16<0x7FFF>>(22, 101, DeclaredInteger),   // status of a heating and cooling controller
    Row<Set16<0x0036>>(22, 1000, DeclaredInteger),  // media
    Row<Set16<0xFFFF>>(22, AnySub, DeclaredInteger),
    // Which of 16 outputs are on, in the lower half, and of which this is known, in the upper one.
    Row<WholeCoding<std::uint32_t>>(27, AnySub, DeclaredInteger),
};

}  // namespace

DataPointFamily GetBitSetTypes() {
    return FamilyOf(BitSetTable);
}

}  // namespace Zandrel
