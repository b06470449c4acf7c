#pragma once

#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>

namespace Zandrel {

/// Steady time and the waits on it, so that a test can let hours pass at once. Thread-safe. All waits are Boost
/// interruption points.
class Clock {
public:
    using Duration = boost::chrono::steady_clock::duration;
    using TimePoint = boost::chrono::steady_clock::time_point;

    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    virtual TimePoint Now() const { return boost::chrono::steady_clock::now(); }

    virtual void SleepFor(Duration duration) { boost::this_thread::sleep_for(duration); }

    /// Waits until `condition` is notified or `deadline` has passed, or wakes without a reason. `lock` is released
    /// meanwhile.
    virtual void WaitUntil(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                           TimePoint deadline) {
        condition.wait_until(lock, deadline);
    }

    /// Joins `thread` and returns true; false when it has not ended within `duration`.
    virtual bool Join(boost::thread& thread, Duration duration) { return thread.try_join_for(duration); }
};

}  // namespace Zandrel
