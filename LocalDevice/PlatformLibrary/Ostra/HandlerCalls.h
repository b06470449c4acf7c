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

/// Calls of one handler that wait for the thread that delivers them, in the order of posting. Thread-safe.
template <typename Handler>
class HandlerCalls {
public:
    using Call = std::function<void(Handler&)>;

    HandlerCalls() = default;
    ~HandlerCalls() = default;
    HandlerCalls(const HandlerCalls&) = delete;
    HandlerCalls& operator=(const HandlerCalls&) = delete;

    /// Sets the handler; null drops it and what is queued. On return no call to an earlier one is running, unless the
    /// caller is such a call itself.
    void SetHandler(Handler* handler) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        handler_ = handler;
        if (handler == nullptr) {
            calls_.clear();
        }
        if (called_ == nullptr || called_ == handler || boost::this_thread::get_id() == deliverer_) {
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

    bool IsEmpty() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return calls_.empty();
    }

    /// Runs the first call on this thread, the only one that may do so; what it throws is logged. False without a call.
    bool DeliverNext() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        if (calls_.empty()) {
            return false;
        }
        const Call call = std::move(calls_.front());
        calls_.pop_front();
        called_ = handler_;
        deliverer_ = boost::this_thread::get_id();
        ++callNumber_;
        lock.unlock();
        Deliver(call, *called_);
        lock.lock();
        called_ = nullptr;
        lock.unlock();
        changed_.notify_all();
        return true;
    }

    /// Waits for a call. False once stopped.
    bool Wait() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || !calls_.empty(); });
        return !stopped_;
    }

    /// Drops what is queued and ends every `Wait`.
    void Stop() {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            stopped_ = true;
            calls_.clear();
        }
        changed_.notify_all();
    }

private:
    static void Deliver(const Call& call, Handler& handler) {
        try {
            call(handler);
        } catch (const std::exception& error) {
            LOG4CPLUS_ERROR(Zandrel::GetGlobalDefaultLogger(), "A device-stack handler failed: " << error.what());
        }
    }

    mutable boost::mutex mutex_;
    boost::condition_variable changed_;
    std::deque<Call> calls_;
    Handler* handler_ = nullptr;
    Handler* called_ = nullptr;  ///< the handler whose call is running
    boost::thread::id deliverer_;
    std::uint64_t callNumber_ = 0;
    bool stopped_ = false;
};

}  // namespace Ostra
