#pragma once

#include <algorithm>
#include <chrono>

namespace LocalDevice {

/// The pauses between attempts: each one twice as long as the one before, up to a limit.
class GrowingPause {
public:
    using Duration = std::chrono::milliseconds;

    GrowingPause(Duration first, Duration longest) : first_(first), longest_(longest), next_(first) {}

    /// The pause before the next attempt.
    Duration Next() {
        const Duration pause = next_;
        next_ = std::min(next_ * 2, longest_);
        return pause;
    }

    /// Begins with the first pause again: an attempt was successful.
    void Reset() { next_ = first_; }

private:
    const Duration first_;
    const Duration longest_;
    Duration next_;
};

}  // namespace LocalDevice
