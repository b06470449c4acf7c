#pragma once

#include <boost/chrono/duration.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <optional>

#include "Stop.h"

namespace LifeCycle {

/// Holds a thread at one stop until it is opened. Everything else passes. Thread-safe.
class Gate {
public:
    /// Holds whoever comes to `stop` from now on.
    void Close(Stop stop) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        closed_ = stop;
        arrived_ = false;
    }
    void Open() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        closed_.reset();
        changed_.notify_all();
    }

    void Pass(Stop stop) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        if (ArriveLocked(stop)) {
            changed_.wait(lock, [this, stop] { return closed_ != stop; });
        }
    }
    /// Like `Pass`, but returns at once: whether the gate is closed there.
    bool IsClosed(Stop stop) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return ArriveLocked(stop);
    }
    /// Waits until somebody is held. False when nobody was within 10 s.
    bool WaitForArrival() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return changed_.wait_for(lock, boost::chrono::seconds(10), [this] { return arrived_; });
    }

private:
    bool ArriveLocked(Stop stop) {
        if (closed_ != stop) {
            return false;
        }
        arrived_ = true;
        changed_.notify_all();
        return true;
    }

    boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable changed_;
    std::optional<Stop> closed_;
    bool arrived_ = false;
};

}  // namespace LifeCycle
