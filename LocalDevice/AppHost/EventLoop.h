#pragma once

#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace LocalDevice {

/// Tasks and timers of one thread, the one that calls `Run`. Only `Post` and `Quit` may be called from other threads.
class EventLoop {
public:
    using Task = std::function<void()>;
    using Milliseconds = std::chrono::milliseconds;
    using TimerId = std::uint64_t;

    using TimePoint = std::chrono::steady_clock::time_point;
    using Now = std::function<TimePoint()>;

    /// `now` is asked on the loop's thread. Throws `std::system_error`.
    explicit EventLoop(Now now = &std::chrono::steady_clock::now);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Calls what is posted and due, one after the other, until `Quit`. What a task throws comes out of here; `Run` may
    /// then be called again.
    void Run();

    /// Lets `Run` return after the tasks posted so far, or return at once when it is called later.
    void Quit();

    void Post(Task task);

    /// Calls `task` after `interval`, and, where `periodic` is set, again in this interval; times that have passed
    /// before the loop comes to them are one call.
    TimerId StartTimer(Milliseconds interval, bool periodic, Task task);
    /// On return no call of the timer follows. Without effect on a timer that is no more.
    void StopTimer(TimerId id);

private:
    struct Timer {
        TimePoint due;
        Milliseconds interval;
        bool periodic;
        std::shared_ptr<const Task> task;  ///< shared with a running call, which may stop its timer
    };

    bool CallTask();
    bool CallDueTimer();
    void Wait();

    const Now now_;
    // Readable when the loop is to look for tasks; not a condition variable, as Boost's one signals with its own mutex
    // held, on which the woken thread then waits again.
    const int wake_;

    // Of the loop's thread.
    std::map<TimerId, Timer> timers_;
    std::set<std::pair<TimePoint, TimerId>> due_;
    TimerId lastTimer_ = 0;
    bool quitting_ = false;

    boost::mutex mutex_;
    std::deque<Task> tasks_;
    bool isWaiting_ = false;
};

}  // namespace LocalDevice
