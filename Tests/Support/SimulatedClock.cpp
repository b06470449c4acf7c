#include "SimulatedClock.h"

#include <boost/thread/lock_guard.hpp>

namespace TestSupport {

SimulatedClock::TimePoint SimulatedClock::Now() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return now_;
}

void SimulatedClock::SleepFor(Duration duration) {
    boost::this_thread::interruption_point();
    Advance(duration);
}

void SimulatedClock::WaitUntil(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                               TimePoint deadline) {
    // A short real wait: the caller loops until its condition holds or simulated time has passed the deadline.
    if (Now() < deadline) {
        condition.wait_for(lock, boost::chrono::milliseconds(1));
    }
}

void SimulatedClock::Advance(Duration duration) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    now_ += duration;
}

}  // namespace TestSupport
