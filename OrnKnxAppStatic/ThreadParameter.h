#pragma once

#include <log4cplus/logger.h>

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <cstdint>
#include <functional>
#include <memory>

#include "Orn/Clock.h"
#include "ScrollingText.h"
#include "Zandrel/EncodedString.h"

namespace Zandrel {

/// Writes a text of at most 14 characters to a CO. Called from the threads of the tickers.
using WriteTextFunction = std::function<bool(std::uint16_t co, const KnxStyleString& text)>;

/// What all tickers share.
struct TickerContext {
    log4cplus::Logger logger;
    WriteTextFunction writeText;
    std::shared_ptr<Clock> clock;
    Clock::Duration timeBase;  ///< the unit of the tick period
};

/// The time between two steps: `speed` 0 is slow, 2 fast, any other value in between; pages stay longer than a text
/// that scrolls.
Clock::Duration GetTickPeriod(unsigned speed, unsigned wrapping, Clock::Duration timeBase) noexcept;

/// One ticker: shows a long text on a CO, segment after segment, from a thread of its own. Thread-safe.
class ThreadParameter {
public:
    /// `context` must outlive the ticker.
    ThreadParameter(const TickerContext& context, std::uint16_t co, const KnxStyleString& text, unsigned speed,
                    unsigned wrapping);
    /// Stops.
    ~ThreadParameter();
    ThreadParameter(const ThreadParameter&) = delete;
    ThreadParameter& operator=(const ThreadParameter&) = delete;

    /// Shows the first segment and starts the thread, once. False when there is no thread to be had.
    bool Run();

    /// Stops for good: on return nothing is written any more, unless `SetText` does. Not to be called from the ticker's
    /// own thread, nor from two threads at once.
    void Stop();

    /// Takes a new text and shows its first segment, unless the ticker is being stopped. Starts nothing. False when the
    /// segment could not be written.
    bool SetText(const KnxStyleString& text);

    void SetSpeed(unsigned speed);
    /// Also goes back to the start of the text.
    void SetWrapping(unsigned wrapping);

private:
    void Tick();
    bool ShowLocked();

    const TickerContext& context_;
    const std::uint16_t co_;
    boost::thread thread_;  ///< touched only by who runs and stops the ticker

    std::atomic<bool> stopping_{false};

    boost::mutex mutex_;  ///< guards what follows, and is held while a segment is written
    boost::condition_variable condition_;
    unsigned speed_;
    unsigned wrapping_;
    Clock::Duration period_;
    Clock::TimePoint expiry_;
    ScrollingText text_;
};

}  // namespace Zandrel
