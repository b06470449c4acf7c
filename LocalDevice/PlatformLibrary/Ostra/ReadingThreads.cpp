#include "ReadingThreads.h"

#include <boost/asio/post.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <utility>

namespace Ostra {

ReadingThreads::ReadingThreads(boost::asio::io_context& context, Calls& calls, std::function<int()> getDescriptor)
    : context_(context), calls_(calls), getDescriptor_(std::move(getDescriptor)) {}

void ReadingThreads::Start() {
    eventThread_ = boost::thread([this] { RunEventThread(); });
    standIn_ = boost::thread([this] { RunStandIn(); });
}

void ReadingThreads::Join() {
    const boost::this_thread::disable_interruption uninterrupted;
    for (boost::thread* const thread : {&eventThread_, &standIn_}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
}

void ReadingThreads::Post(std::function<void()> work) {
    boost::asio::post(context_, std::move(work));
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        isPosted_ = true;
        if (runner_ != Runner::Nobody) {
            return;
        }
    }
    watch_.Wake();
}

void ReadingThreads::RunEventThread() {
    bool isMoreReady = false;
    for (;;) {
        switch (AwaitTurn()) {
            case Turn::Run:
                isMoreReady = RunContext();
                break;
            case Turn::Deliver:
                Deliver(std::exchange(isMoreReady, false));
                break;
            case Turn::End:
                return;
        }
    }
}

ReadingThreads::Turn ReadingThreads::AwaitTurn() {
    boost::unique_lock<boost::mutex> lock(mutex_);
    for (;;) {
        if (isFinished_) {
            return Turn::End;
        }
        if (!calls_.IsEmpty()) {
            return Turn::Deliver;
        }
        if (runner_ != Runner::StandIn) {
            runner_ = Runner::EventThread;
            isPosted_ = false;
            return Turn::Run;
        }
        changed_.wait(lock);
    }
}

void ReadingThreads::Deliver(bool isMoreReady) {
    LeaveContext(isMoreReady);
    while (calls_.DeliverNext()) {
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    ForgetLocked();
    isDelivering_ = false;
}

/// Lets the stand-in sleep on the descriptor, or wakes it where that would not do.
void ReadingThreads::LeaveContext(bool isMoreReady) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    isDelivering_ = true;
    if (runner_ == Runner::StandIn) {
        return;
    }
    runner_ = Runner::Nobody;
    const int descriptor = isMoreReady || isPosted_ ? NoDescriptor : getDescriptor_();
    if (descriptor == NoDescriptor || !watch_.Watch(descriptor)) {
        watch_.Wake();
        return;
    }
    watched_ = descriptor;
}

/// Before somebody runs the context again, who may close the descriptor.
void ReadingThreads::ForgetLocked() {
    if (watched_ != NoDescriptor) {
        watch_.Forget(std::exchange(watched_, NoDescriptor));
    }
}

void ReadingThreads::RunStandIn() {
    for (;;) {
        watch_.Wait();
        if (TakeContext()) {
            while (RunContext() || !GiveContextBack()) {
            }
        }
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (isFinished_) {
            return;
        }
    }
}

bool ReadingThreads::TakeContext() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (runner_ != Runner::Nobody || !isDelivering_) {
        return false;
    }
    ForgetLocked();
    runner_ = Runner::StandIn;
    return true;
}

/// True when the event thread has something to do and will go on from there.
bool ReadingThreads::GiveContextBack() {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (!isFinished_ && (isDelivering_ || calls_.IsEmpty())) {
            return false;
        }
        runner_ = Runner::Nobody;
    }
    changed_.notify_one();
    return true;
}

/// Waits for work and does what is ready, though not without end. True when more is ready.
bool ReadingThreads::RunContext() {
    constexpr int MostAtOnce = 64;
    context_.run_one();
    int done = 1;
    while (done < MostAtOnce && context_.poll_one() != 0) {
        ++done;
    }
    if (context_.stopped()) {
        Finish();
        return false;
    }
    return done == MostAtOnce;
}

/// The context has run out of work, for good.
void ReadingThreads::Finish() {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        isFinished_ = true;
    }
    changed_.notify_one();
    watch_.Wake();
}

}  // namespace Ostra
