#include "EventLoop.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace LocalDevice {

void EventLoop::Run() {
    while (!quitting_) {
        context_.run_one();
    }
}

void EventLoop::Quit() {
    Post([this] { quitting_ = true; });
}

void EventLoop::Post(Task task) {
    boost::asio::post(context_, std::move(task));
}

EventLoop::TimerId EventLoop::StartTimer(Milliseconds interval, bool periodic, Task task) {
    const TimerId id = ++lastTimer_;
    Timer timer{boost::asio::steady_timer(context_, interval), interval, periodic,
                std::make_shared<const Task>(std::move(task))};
    Wait(id, timers_.emplace(id, std::move(timer)).first->second);
    return id;
}

void EventLoop::StopTimer(TimerId id) {
    timers_.erase(id);
}

void EventLoop::Wait(TimerId id, Timer& timer) {
    timer.due.async_wait([this, id](const boost::system::error_code& error) {
        if (!error) {
            OnDue(id);
        }
    });
}

void EventLoop::OnDue(TimerId id) {
    const auto found = timers_.find(id);
    if (found == timers_.end()) {
        return;  // stopped while the call was on its way
    }
    Timer& timer = found->second;
    const auto task = timer.task;
    if (timer.periodic) {
        const auto late = std::chrono::steady_clock::now() - timer.due.expiry();
        timer.due.expires_at(timer.due.expiry() + (late / timer.interval + 1) * timer.interval);
        Wait(id, timer);
    } else {
        timers_.erase(found);
    }
    (*task)();
}

}  // namespace LocalDevice
