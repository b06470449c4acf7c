#pragma once

#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <string>

#include "Zandrel/Docket.h"

namespace Zandrel {

/// What a docket and its copies share: the verdict on one request. It comes once and never changes. Thread-safe.
class Docket::State {
public:
    using Clock = boost::chrono::steady_clock;
    enum class Verdict { Open, Accepted, Refused, TimedOut };

    /// A request that failed at once.
    explicit State(std::string error);

    /// An open request. `whenTimedOut` is called once, without a lock, by the waiting thread that finds the deadline
    /// passed.
    State(Clock::time_point deadline, std::function<void()> whenTimedOut);

    /// Waits for the verdict, to the deadline at most. A Boost interruption point while it waits.
    Verdict Wait();

    /// Gives the verdict. False when there was one already, and after the deadline, when the verdict becomes
    /// `TimedOut`.
    bool Conclude(Verdict verdict, std::string text);

    /// Makes the verdict `TimedOut` when the request is still open and `now` is past its deadline.
    void Expire(Clock::time_point now);

    /// The text of the verdict, if that is `verdict`; empty otherwise.
    std::string GetText(Verdict verdict) const;

private:
    bool ExpireLocked(Clock::time_point now);

    Clock::time_point deadline_;
    std::function<void()> whenTimedOut_;

    mutable boost::mutex mutex_;
    boost::condition_variable concluded_;
    Verdict verdict_;
    std::string text_;
};

}  // namespace Zandrel
