#pragma once

#include <log4cplus/loggingmacros.h>

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <utility>

#include "Zandrel/Logging.h"

namespace Ostra {

/// Calls a handler on a thread of its own, one call at a time, in the order of posting. Thread-safe.
template <typename Handler>
class HandlerThread {
public:
    using Call = std::function<void(Handler&)>;

    HandlerThread() : thread_([this] { Run(); }) {}

    /// Waits for a running call; those that are queued are dropped. Not to be called on the thread itself.
    ~HandlerThread() {  // NOLINT(bugprone-exception-escape): a mutex that fails here is a reason to end the process
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            stopping_ = true;
            calls_.clear();
        }
        changed_.notify_all();
        const boost::this_thread::disable_interruption uninterrupted;
        thread_.join();
    }
    HandlerThread(const HandlerThread&) = delete;
    HandlerThread& operator=(const HandlerThread&) = delete;

    /// Sets the handler; null drops it and what is queued. On return no call to an earlier one is running, unless the
    /// caller is such a call itself.
    void SetHandler(Handler* handler) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        handler_ = handler;
        if (handler == nullptr) {
            calls_.clear();
        }
        if (boost::this_thread::get_id() == thread_.get_id()) {
            return;
        }
        if (called_ == nullptr || called_ == handler) {
            return;
        }
        const boost::this_thread::disable_interruption uninterrupted;
        changed_.wait(lock, [this, running = callNumber_] { return called_ == nullptr || callNumber_ != running; });
    }

    /// Queues a call; without a handler it is dropped.
    void Post(Call call) {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (handler_ == nullptr) {
                return;
            }
            calls_.push_back(std::move(call));
        }
        changed_.notify_all();
    }

private:
    void Run() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return stopping_ || !calls_.empty(); });
            if (stopping_) {
                return;
            }
            const Call call = std::move(calls_.front());
            calls_.pop_front();
            called_ = handler_;
            ++callNumber_;
            lock.unlock();
            Deliver(call, *called_);
            lock.lock();
            called_ = nullptr;
            changed_.notify_all();
        }
    }

    static void Deliver(const Call& call, Handler& handler) {
        try {
            call(handler);
        } catch (const std::exception& error) {
            LOG4CPLUS_ERROR(Zandrel::GetGlobalDefaultLogger(), "A device-stack handler failed: " << error.what());
        }
    }

    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::deque<Call> calls_;
    Handler* handler_ = nullptr;
    Handler* called_ = nullptr;  ///< the handler whose call is running
    std::uint64_t callNumber_ = 0;
    bool stopping_ = false;

    boost::thread thread_;  ///< the last member: it uses the others from its start on
};

}  // namespace Ostra
