#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "KnxConfiguration.h"

namespace Zandrel {

/// The main numbers that are treated specially.
constexpr std::uint32_t FloatMainNumber = 14;
constexpr std::uint32_t TextMainNumber = 16;

constexpr std::uint32_t GetMainNumber(std::uint32_t dpt) noexcept {
    return dpt >> 16U;
}

/// The data-point types of the COs, for the values that travel while and after a download is read. Thread-safe.
class DptTable {
public:
    /// Main number in the upper 16 bits, sub number in the lower 16 bits; 0 when unknown.
    std::uint32_t Get(std::uint16_t co) const noexcept {
        return co < dpts_.size() ? dpts_[co].load(std::memory_order_relaxed) : 0;
    }

    bool TakesTexts(std::uint16_t co) const noexcept { return GetMainNumber(Get(co)) == TextMainNumber; }

    /// `co`: 1 to 520.
    void Set(std::uint16_t co, std::uint32_t dpt) { dpts_.at(co).store(dpt, std::memory_order_relaxed); }

private:
    std::array<std::atomic<std::uint32_t>, MaxCoNumber + 1> dpts_{};
};

}  // namespace Zandrel
