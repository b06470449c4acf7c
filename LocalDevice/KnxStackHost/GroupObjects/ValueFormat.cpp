#include "GroupObjects/ValueFormat.h"

#include <algorithm>
#include <array>
#include <boost/format.hpp>

namespace LocalDevice {

namespace {

struct MainType {
    unsigned number;
    unsigned bits;  // 0: variable length
};

constexpr std::array MainTypes{
    MainType{1, 1},   MainType{2, 2},   MainType{3, 4},    MainType{4, 8},    MainType{5, 8},    MainType{6, 8},
    MainType{7, 16},  MainType{8, 16},  MainType{9, 16},   MainType{10, 24},  MainType{11, 24},  MainType{12, 32},
    MainType{13, 32}, MainType{14, 32}, MainType{15, 32},  MainType{16, 112}, MainType{17, 8},   MainType{18, 8},
    MainType{19, 64}, MainType{20, 8},  MainType{21, 8},   MainType{22, 16},  MainType{26, 8},   MainType{27, 32},
    MainType{28, 0},  MainType{29, 64}, MainType{232, 24}, MainType{235, 48}, MainType{242, 48}, MainType{251, 48},
};

std::string CountText(std::size_t count, const char* unit) {
    return std::to_string(count) + " " + unit + (count == 1 ? "" : "s");
}

}  // namespace

std::optional<ValueFormat> ValueFormat::Of(std::uint32_t dpt) {
    const unsigned mainNumber = dpt >> 16U;
    const auto* const found = std::find_if(MainTypes.begin(), MainTypes.end(),
                                           [=](const MainType& type) { return type.number == mainNumber; });
    return found == MainTypes.end() ? std::nullopt : std::optional(ValueFormat(found->bits));
}

std::optional<KnxStack::GroupValue> ValueFormat::Decode(const Telegram& telegram) const {
    if (telegram.isCompact != IsCompact()) {
        return std::nullopt;
    }
    return Normalise(KnxStack::GroupValue(telegram.data));
}

std::optional<KnxStack::GroupValue> ValueFormat::Normalise(const KnxStack::GroupValue& value) const {
    if (bits_ == 0) {
        const bool isLengthPossible = value.GetSize() >= 1 && value.GetSize() <= MaxValueBytes;
        return isLengthPossible ? std::optional(value) : std::nullopt;
    }
    if (value.GetSize() != (bits_ + 7) / 8) {
        return std::nullopt;
    }
    if (!IsCompact()) {
        return value;
    }
    const unsigned usedBits = (1U << bits_) - 1U;
    return KnxStack::GroupValue({static_cast<std::uint8_t>(value.GetBytes()[0] & usedBits)});
}

std::string ValueFormat::GetLengthText() const {
    if (bits_ == 0) {
        return "1 to " + CountText(MaxValueBytes, "byte");
    }
    return bits_ < 8 ? CountText(bits_, "bit") : CountText(bits_ / 8, "byte");
}

std::string GetLengthText(const Telegram& telegram) {
    return telegram.isCompact ? "6 bits at most" : CountText(telegram.data.size(), "byte");
}

std::string FormatDpt(std::uint32_t dpt) {
    return (boost::format("%d.%03d") % (dpt >> 16U) % (dpt & 0xFFFFU)).str();
}

}  // namespace LocalDevice
