#pragma once

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "KnxStack/IMemory.h"

namespace LocalDevice {

/// The memory of application program 1. Thread-safe.
class ApplicationMemory final : public KnxStack::IMemory {
public:
    static constexpr std::size_t Size = 6'400;

    KnxStack::BinaryData GetContent() const override {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return KnxStack::BinaryData(content_);
    }

    /// Replaces the content; what is missing up to `Size` is zero, what is beyond it is cut off.
    void Load(std::vector<std::uint8_t> content) {
        content.resize(Size, 0);
        const boost::lock_guard<boost::mutex> lock(mutex_);
        content_ = std::move(content);
    }

private:
    mutable boost::mutex mutex_;
    std::vector<std::uint8_t> content_ = std::vector<std::uint8_t>(Size, 0);
};

}  // namespace LocalDevice
