#pragma once

#include <chrono>
#include <deque>
#include <optional>

namespace LocalDevice {

/// Remembers when child processes died, and tells what follows.
class DeathRecord {
public:
    using Duration = std::chrono::steady_clock::duration;
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr std::size_t MaxDeaths = 5;
    static constexpr std::chrono::seconds Period{60};
    static constexpr std::chrono::milliseconds FirstPause{250};

    /// Notes a death. The result is the pause before the next start, twice as long with each death of the last minute;
    /// none when there were `MaxDeaths` of them, so that another start makes no sense.
    std::optional<Duration> Add(TimePoint now);

private:
    std::deque<TimePoint> deaths_;
};

}  // namespace LocalDevice
