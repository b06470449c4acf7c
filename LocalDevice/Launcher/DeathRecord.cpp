#include "DeathRecord.h"

namespace LocalDevice {

std::optional<DeathRecord::Duration> DeathRecord::Add(TimePoint now) {
    while (!deaths_.empty() && now - deaths_.front() >= Period) {
        deaths_.pop_front();
    }
    deaths_.push_back(now);
    if (deaths_.size() >= MaxDeaths) {
        return std::nullopt;
    }
    return FirstPause * (1U << (deaths_.size() - 1));
}

}  // namespace LocalDevice
