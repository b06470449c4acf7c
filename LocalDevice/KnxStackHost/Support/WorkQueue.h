#pragma once

#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <functional>

namespace LocalDevice {

/// One thread that runs tasks in the order in which they came. Thread-safe.
class WorkQueue {
public:
    using Task = std::function<void()>;

    /// `bound`: how many tasks may wait.
    explicit WorkQueue(std::size_t bound) : bound_(bound) {}

    /// Waits for the running task; those that wait are dropped.
    ~WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// False, with `task` dropped, when too many tasks wait. A task throws nothing.
    bool Post(Task task);

private:
    const std::size_t bound_;
    std::atomic<std::size_t> waiting_{0};
    boost::asio::thread_pool thread_{1};
};

}  // namespace LocalDevice
