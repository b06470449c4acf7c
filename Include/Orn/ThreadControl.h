#pragma once

#include <atomic>
#include <boost/thread/thread_only.hpp>

namespace Zandrel {

/// Control block of one init cycle (and of one ticker), shared by its thread and whoever stops it.
struct ThreadControl {
    ThreadControl() = default;
    /// The last owner may be the thread itself, which cannot join itself.
    ~ThreadControl() {
        if (thread.joinable()) {
            thread.detach();
        }
    }
    ThreadControl(const ThreadControl&) = delete;
    ThreadControl& operator=(const ThreadControl&) = delete;

    /// True from the start; cleared once, by the stop function. Long operations check it between their steps.
    std::atomic<bool> running{true};

    /// Touched only by the thread that starts and stops.
    boost::thread thread;
};

}  // namespace Zandrel
