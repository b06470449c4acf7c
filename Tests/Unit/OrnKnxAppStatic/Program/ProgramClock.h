#pragma once

#include <atomic>
#include <boost/chrono/duration.hpp>
#include <functional>

#include "SimulatedClock.h"

namespace Program {

/// Simulated time for the host's thread, which constructs it, and the threads of the program. A join takes no simulated
/// time; it gives up after `joinLimit` of real time.
class ProgramClock final : public Zandrel::Clock {
public:
    TimePoint Now() const override { return time_.Now(); }

    void SleepFor(Duration duration) override {
        time_.SleepFor(duration);
        if (boost::this_thread::get_id() == host_) {
            onHostSleep();
        } else {
            onCycleSleep();
        }
        boost::this_thread::yield();
    }
    void WaitUntil(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                   TimePoint deadline) override {
        cycleWait = (deadline - Now()).count();
        time_.WaitUntil(condition, lock, deadline);
    }
    bool Join(boost::thread& thread, Duration duration) override {
        joinDuration = duration;
        onJoin();
        return thread.try_join_for(joinLimit);
    }

    void Advance(Duration duration) { time_.Advance(duration); }

    // Set while no other thread runs.
    std::function<void()> onHostSleep = [] {};
    std::function<void()> onCycleSleep = [] {};
    std::function<void()> onJoin = [] {};
    boost::chrono::milliseconds joinLimit{10000};

    Duration joinDuration{};                  ///< of the latest join, as it was asked for
    std::atomic<Duration::rep> cycleWait{0};  ///< what was left of the latest wait of a cycle or ticker when it began

private:
    const boost::thread::id host_ = boost::this_thread::get_id();
    TestSupport::SimulatedClock time_;
};

}  // namespace Program
