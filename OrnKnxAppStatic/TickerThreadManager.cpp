#include "TickerThreadManager.h"

#include <boost/thread/lock_guard.hpp>
#include <iterator>
#include <utility>

#include "ContainExceptions.h"
#include "Orn/Logging.h"

namespace Zandrel {

using Lock = boost::lock_guard<boost::mutex>;

TickerThreadManager::TickerThreadManager(const log4cplus::Logger& logger, WriteTextFunction writeText,
                                         std::shared_ptr<Clock> clock, Clock::Duration timeBase)
    : context_{logger, std::move(writeText), std::move(clock), timeBase} {}

TickerThreadManager::~TickerThreadManager() {
    // The tickers end with their map, also where the line cannot be built.
    ContainExceptions(context_.logger, "Terminate", [this] {
        Terminate();
        return true;
    });
}

bool TickerThreadManager::SetText(std::uint16_t co, const KnxStyleString& text) {
    const Lock lock(mutex_);
    if (!open_) {
        ORN_LOG_PLAIN(context_.logger, DEBUG, "Texts are not shown at present, ignoring the one for CO " << co);
        return false;
    }
    const std::string& characters = text.GetBytes();
    if (wrapping_ == DisplayTextWrapping::NoTicker) {
        return context_.writeText(co, KnxStyleString(characters.substr(0, SegmentLength)));
    }
    const bool fits = characters.size() <= SegmentLength;
    const auto found = tickers_.find(co);
    if (found != tickers_.end()) {
        found->second.Stop();
        if (!fits) {
            return found->second.SetText(text);
        }
        tickers_.erase(found);
    }
    if (fits) {
        return context_.writeText(co, text);
    }
    ThreadParameter& ticker = tickers_.try_emplace(co, context_, co, text, speed_, wrapping_).first->second;
    return ticker.Run();
}

void TickerThreadManager::SetSpeed(unsigned speed) {
    const Lock lock(mutex_);
    speed_ = speed;
    for (auto& [co, ticker] : tickers_) {
        ticker.SetSpeed(speed);
    }
}

void TickerThreadManager::SetWrapping(unsigned wrapping) {
    const Lock lock(mutex_);
    wrapping_ = wrapping;
    for (auto& [co, ticker] : tickers_) {
        ticker.SetWrapping(wrapping);
    }
}

void TickerThreadManager::Stop(const std::function<bool(std::uint16_t co)>& isToStop) {
    const Lock lock(mutex_);
    for (auto ticker = tickers_.begin(); ticker != tickers_.end();) {
        ticker = isToStop(ticker->first) ? tickers_.erase(ticker) : std::next(ticker);
    }
}

void TickerThreadManager::Terminate() {
    const Lock lock(mutex_);
    ORN_LOG_PLAIN(context_.logger, DEBUG, "Stopping all ticker threads.");
    tickers_.clear();
}

void TickerThreadManager::Close() {
    const Lock lock(mutex_);
    open_ = false;
    tickers_.clear();
}

void TickerThreadManager::Open() {
    const Lock lock(mutex_);
    open_ = true;
}

}  // namespace Zandrel
