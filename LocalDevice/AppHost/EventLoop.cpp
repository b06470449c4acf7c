#include "EventLoop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <boost/thread/lock_guard.hpp>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace LocalDevice {

namespace {

using std::chrono::nanoseconds;

/// Waits until `descriptor` is readable, for `time` at most.
bool AwaitReadable(int descriptor, nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec timeout{};
    timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(seconds.count());
    timeout.tv_nsec = static_cast<decltype(timeout.tv_nsec)>(nanoseconds(time - seconds).count());
    pollfd wanted{descriptor, POLLIN, 0};
    return ppoll(&wanted, 1, &timeout, nullptr) == 1;
}

}  // namespace

EventLoop::EventLoop(Now now) : now_(std::move(now)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wake_ == -1) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

EventLoop::~EventLoop() {
    close(wake_);
}

void EventLoop::Run() {
    while (!quitting_) {
        const bool isBusy = CallTask();
        if (!quitting_ && !CallDueTimer() && !isBusy) {
            Wait();
        }
    }
}

void EventLoop::Quit() {
    Post([this] { quitting_ = true; });
}

void EventLoop::Post(Task task) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
        if (!std::exchange(isWaiting_, false)) {
            return;
        }
    }
    // Without the lock: the loop would wake only to wait for it. A full counter, the one failure there is, wakes too.
    eventfd_write(wake_, 1);
}

EventLoop::TimerId EventLoop::StartTimer(Milliseconds interval, bool periodic, Task task) {
    const TimerId id = ++lastTimer_;
    const TimePoint due = now_() + interval;
    timers_.emplace(id, Timer{due, interval, periodic, std::make_shared<const Task>(std::move(task))});
    due_.emplace(due, id);
    return id;
}

void EventLoop::StopTimer(TimerId id) {
    const auto found = timers_.find(id);
    if (found != timers_.end()) {
        due_.erase({found->second.due, id});
        timers_.erase(found);
    }
}

bool EventLoop::CallTask() {
    Task task;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (tasks_.empty()) {
            return false;
        }
        task = std::move(tasks_.front());
        tasks_.pop_front();
    }
    task();
    return true;
}

bool EventLoop::CallDueTimer() {
    const TimePoint now = now_();
    if (due_.empty() || due_.begin()->first > now) {
        return false;
    }
    const TimerId id = due_.begin()->second;
    due_.erase(due_.begin());
    Timer& timer = timers_.at(id);
    const auto task = timer.task;
    if (timer.periodic) {
        timer.due += ((now - timer.due) / timer.interval + 1) * timer.interval;
        due_.emplace(timer.due, id);
    } else {
        timers_.erase(id);
    }
    (*task)();
    return true;
}

/// Until something is posted or due; also returns without a reason.
void EventLoop::Wait() {
    constexpr nanoseconds Longest = std::chrono::hours(1);
    const nanoseconds time = due_.empty() ? Longest : std::min(due_.begin()->first - now_(), Longest);
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        isWaiting_ = tasks_.empty();
        if (!isWaiting_ || time <= nanoseconds::zero()) {
            return;
        }
    }
    if (AwaitReadable(wake_, time)) {
        eventfd_t count = 0;
        eventfd_read(wake_, &count);
    }
}

}  // namespace LocalDevice
