#pragma once

#include <boost/chrono/duration.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>

namespace LocalDevice {

/// Lets a thread pause so that another one can end the pause for good. Thread-safe.
class StopSignal {
public:
    void Stop() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        isStopped_ = true;
        condition_.notify_all();
    }

    bool IsStopped() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return isStopped_;
    }

    /// Waits for `pause`. False, at once, when stopped.
    bool Sleep(std::chrono::milliseconds pause) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return !condition_.wait_for(lock, boost::chrono::milliseconds(pause.count()), [this] { return isStopped_; });
    }

    /// Waits until stopped.
    void Wait() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        condition_.wait(lock, [this] { return isStopped_; });
    }

private:
    mutable boost::mutex mutex_;
    boost::condition_variable condition_;
    bool isStopped_ = false;
};

}  // namespace LocalDevice
