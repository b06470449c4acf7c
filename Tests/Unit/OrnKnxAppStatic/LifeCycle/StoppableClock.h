#pragma once

#include <atomic>
#include <functional>

#include "Gate.h"
#include "SimulatedClock.h"

namespace LifeCycle {

/// Simulated time for a host's thread, which constructs it, and the cycles. Waits of a cycle are stops.
///
/// A join takes no time when the thread ends; it takes all of its time when `threadIsHeld`.
class StoppableClock final : public Zandrel::Clock {
public:
    explicit StoppableClock(Gate& gate) : gate_(gate) {}

    TimePoint Now() const override { return time_.Now(); }

    void SleepFor(Duration duration) override {
        boost::this_thread::interruption_point();
        time_.Advance(duration);
        if (IsHost()) {
            hostWaits_ += duration.count();
            return;
        }
        boost::this_thread::yield();
        if (isAppStarting()) {
            gate_.Pass(Stop::RunningWait);
            whileCycleWaitsForApp();
        }
    }

    void WaitUntil(boost::condition_variable& condition, boost::unique_lock<boost::mutex>& lock,
                   TimePoint deadline) override {
        if (gate_.IsClosed(Stop::LoadStateWait)) {
            condition.wait_for(lock, boost::chrono::milliseconds(1));
        } else if (Now() < deadline) {
            time_.Advance(deadline - Now());
        }
    }

    bool Join(boost::thread& thread, Duration duration) override {
        if (threadIsHeld) {
            // The cycle's own time stands still: no deadline of its passes before it is interrupted.
            hostWaits_ += duration.count();
            return thread.try_join_for(boost::chrono::milliseconds(0));
        }
        onJoin();
        return thread.try_join_for(boost::chrono::seconds(10));
    }

    /// How long the host's thread has waited.
    Duration GetHostWaits() const { return Duration(hostWaits_.load()); }

    // Set before the threads that call them start.
    std::function<bool()> isAppStarting;
    std::function<void()> whileCycleWaitsForApp;
    std::function<void()> onJoin;
    std::atomic<bool> threadIsHeld{false};

private:
    bool IsHost() const { return boost::this_thread::get_id() == host_; }

    const boost::thread::id host_ = boost::this_thread::get_id();
    Gate& gate_;
    TestSupport::SimulatedClock time_;
    std::atomic<Duration::rep> hostWaits_{0};
};

}  // namespace LifeCycle
