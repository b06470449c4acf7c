#pragma once

#include <boost/thread/thread_only.hpp>
#include <utility>

#include "HandlerCalls.h"

namespace Ostra {

/// Calls a handler on a thread of its own, one call at a time, in the order of posting. Thread-safe.
template <typename Handler>
class HandlerThread {
public:
    using Call = typename HandlerCalls<Handler>::Call;

    HandlerThread() : thread_([this] { Run(); }) {}

    /// Waits for a running call; those that are queued are dropped. Not to be called on the thread itself.
    ~HandlerThread() {
        calls_.Stop();
        const boost::this_thread::disable_interruption uninterrupted;
        thread_.join();
    }
    HandlerThread(const HandlerThread&) = delete;
    HandlerThread& operator=(const HandlerThread&) = delete;

    /// See the functions of the same names of `HandlerCalls`.
    void SetHandler(Handler* handler) { calls_.SetHandler(handler); }
    void Post(Call call) { calls_.Post(std::move(call)); }

private:
    void Run() {
        while (calls_.Wait()) {
            calls_.DeliverNext();
        }
    }

    HandlerCalls<Handler> calls_;
    boost::thread thread_;  ///< the last member: it uses the others from its start on
};

}  // namespace Ostra
