#pragma once

#include "Orn/Clock.h"

namespace TestSupport {

/// Time that moves only when it is told to. A sleep moves it itself and returns at once; a wait with a deadline ends
/// when it is notified, or when `Advance` passes the deadline. Thread-safe.
class SimulatedClock final : public Zandrel::Clock {
public:
    TimePoint Now() const override;
    void SleepFor(Duration duration) override;
    void WaitUntil(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                   TimePoint deadline) override;

    void Advance(Duration duration);

private:
    mutable boost::mutex mutex_;
    TimePoint now_{};
};

}  // namespace TestSupport
