#pragma once

#include <log4cplus/logger.h>

#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

#include "Orn/Clock.h"
#include "Orn/Durations.h"
#include "ThreadParameter.h"

namespace Zandrel {

/// Shows texts on COs: a text of up to 14 characters at once, a longer one as a ticker. Thread-safe.
///
/// A second long text on a CO that has a ticker stops that ticker and stands still; a text of up to 14 characters
/// clears it, so that the next long one runs again.
class TickerThreadManager {
public:
    TickerThreadManager(const log4cplus::Logger& logger, WriteTextFunction writeText, std::shared_ptr<Clock> clock,
                        Clock::Duration timeBase = Durations::TickerTimeBase);
    /// Terminates.
    ~TickerThreadManager();
    TickerThreadManager(const TickerThreadManager&) = delete;
    TickerThreadManager& operator=(const TickerThreadManager&) = delete;

    /// Shows `text` on a CO. False when it could not be written, its ticker could not be started, or texts are refused.
    /// Throws what the write function throws; `std::bad_function_call` when there is none.
    bool SetText(std::uint16_t co, const KnxStyleString& text);

    /// The settings "display text speed" (0 slow, 1 medium, 2 fast) and "display text wrapping"
    /// (`DisplayTextWrapping`), for the tickers there are and those to come.
    void SetSpeed(unsigned speed);
    void SetWrapping(unsigned wrapping);

    /// Stops the tickers of the COs for which `isToStop` is true, and forgets them. `isToStop` calls no ticker.
    void Stop(const std::function<bool(std::uint16_t co)>& isToStop);

    /// Stops all tickers and forgets them.
    void Terminate();

    /// Does the same without its line, and refuses texts until `Open`.
    void Close();
    void Open();

private:
    const TickerContext context_;

    boost::mutex mutex_;  ///< guards what follows; held while a text is written and while a ticker is stopped
    std::unordered_map<std::uint16_t, ThreadParameter> tickers_;
    unsigned speed_ = 0;
    unsigned wrapping_ = DisplayTextWrapping::Pages;
    bool open_ = true;
};

}  // namespace Zandrel
