#include "ThreadParameter.h"

#include <boost/thread/exceptions.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <cstddef>
#include <utility>

#include "ContainExceptions.h"
#include "Orn/Logging.h"

namespace Zandrel {

namespace {

/// In bytes. A ticker needs little, and every object may have one: the usual 8 MB each would not fit into the addresses
/// of a 32-bit processor.
constexpr std::size_t StackSize = 256 * std::size_t{1024};

boost::thread::attributes WithStackSize(std::size_t size) {
    boost::thread::attributes attributes;
    attributes.set_stack_size(size);
    return attributes;
}

}  // namespace

Clock::Duration GetTickPeriod(unsigned speed, unsigned wrapping, Clock::Duration timeBase) noexcept {
    const bool pages = wrapping == DisplayTextWrapping::Pages;
    switch (speed) {
        case 0:
            return timeBase * (pages ? 40 : 10);
        case 2:
            return timeBase * (pages ? 10 : 1);
        default:
            return timeBase * (pages ? 20 : 4);
    }
}

ThreadParameter::ThreadParameter(const TickerContext& context, std::uint16_t co, const KnxStyleString& text,
                                 unsigned speed, unsigned wrapping)
    : context_(context),
      co_(co),
      speed_(speed),
      wrapping_(wrapping),
      period_(GetTickPeriod(speed, wrapping, context.timeBase)),
      text_(text.GetBytes(), wrapping) {}

ThreadParameter::~ThreadParameter() {
    Stop();
}

bool ThreadParameter::Run() {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        expiry_ = context_.clock->Now() + period_;
        ShowLocked();
    }
    try {
        const boost::thread::attributes attributes = WithStackSize(StackSize);
        thread_ = boost::thread(attributes, [this] {
            ContainExceptions(context_.logger, "Tick", [this] {
                Tick();
                return true;
            });
        });
        return true;
    } catch (const boost::thread_resource_error&) {
        ORN_LOG_PLAIN(context_.logger, ERROR,
                      "ThreadParameter::Run(): (CO " << co_ << ") Failed to create ticker thread.");
        return false;
    }
}

void ThreadParameter::Tick() {
    for (;;) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        if (stopping_) {
            return;
        }
        if (context_.clock->Now() < expiry_) {
            context_.clock->WaitUntil(condition_, lock, expiry_);
            continue;
        }
        text_.Advance();
        ShowLocked();
        expiry_ += period_;  // a fixed rate: a step that came late does not shift the others
    }
}

void ThreadParameter::Stop() {
    // Who stops a ticker may have been interrupted; the join has to end all the same.
    const boost::this_thread::disable_interruption uninterrupted;
    stopping_ = true;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        condition_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    stopping_ = false;
}

bool ThreadParameter::SetText(const KnxStyleString& text) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    text_.Prepare(text.GetBytes(), wrapping_);
    return stopping_ || ShowLocked();
}

void ThreadParameter::SetSpeed(unsigned speed) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    speed_ = speed;
    period_ = GetTickPeriod(speed_, wrapping_, context_.timeBase);
}

void ThreadParameter::SetWrapping(unsigned wrapping) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    wrapping_ = wrapping;
    text_.SetWrapping(wrapping_);
    period_ = GetTickPeriod(speed_, wrapping_, context_.timeBase);
}

bool ThreadParameter::ShowLocked() {
    return context_.writeText(co_, KnxStyleString(text_.GetSegment()));
}

}  // namespace Zandrel
