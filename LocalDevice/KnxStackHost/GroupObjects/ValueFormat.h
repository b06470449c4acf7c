#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Bus/Telegram.h"
#include "KnxStack/GroupValue.h"

namespace LocalDevice {

/// How the values of a data-point type travel: up to 6 bits inside the APCI octet, more in bytes of their own. A plain
/// value.
class ValueFormat {
public:
    /// `dpt`: main number in the upper 16 bits. None for a main type that is not known.
    static std::optional<ValueFormat> Of(std::uint32_t dpt);

    /// Whether values travel inside the APCI octet.
    bool IsCompact() const { return bits_ != 0 && bits_ <= MaxCompactBits; }

    /// The value of a telegram, with unused upper bits cleared. None when it has another length.
    std::optional<KnxStack::GroupValue> Decode(const Telegram& telegram) const;

    /// `value` with unused upper bits cleared. None when it has another length.
    std::optional<KnxStack::GroupValue> Normalise(const KnxStack::GroupValue& value) const;

    /// The length as "1 bit" or "2 bytes".
    std::string GetLengthText() const;

private:
    static constexpr unsigned MaxCompactBits = 6;

    explicit ValueFormat(unsigned bits) : bits_(bits) {}

    unsigned bits_;  ///< 0: any number of whole bytes
};

/// The length of a telegram's value as it stands on the wire: "6 bits at most" or "2 bytes".
std::string GetLengthText(const Telegram& telegram);

/// "1.001": the text of a data-point type.
std::string FormatDpt(std::uint32_t dpt);

}  // namespace LocalDevice
