#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace LocalDevice {

/// Tasks and timers of one thread, the one that calls `Run`. Only `Post` and `Quit` may be called from other threads.
class EventLoop {
public:
    using Task = std::function<void()>;
    using Milliseconds = std::chrono::milliseconds;
    using TimerId = std::uint64_t;

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
        boost::asio::steady_timer due;
        Milliseconds interval;
        bool periodic;
        std::shared_ptr<const Task> task;  ///< shared with a running call, which may stop its timer
    };
    using Timers = std::map<TimerId, Timer>;

    void Wait(TimerId id, Timer& timer);
    void OnDue(TimerId id);

    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{context_.get_executor()};

    // Of the loop's thread.
    Timers timers_;
    TimerId lastTimer_ = 0;
    bool quitting_ = false;
};

}  // namespace LocalDevice
