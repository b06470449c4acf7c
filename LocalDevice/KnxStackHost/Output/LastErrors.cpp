#include "Output/LastErrors.h"

#include <log4cplus/loglevel.h>

#include <boost/thread/lock_guard.hpp>
#include <iterator>
#include <variant>

#include "Output/EventText.h"

namespace LocalDevice {

namespace {

/// A failure is told where it happened, in as many lines as there are things wrong, and then by each of its callers.
constexpr std::size_t LastLines = 3;

}  // namespace

LastErrors::LastErrors(HostEvents& events)
    : subscription_(events.Subscribe([this](const HostEvent& event) { OnEvent(event); })) {}

std::vector<std::string> LastErrors::Get() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return {lines_.begin(), lines_.end()};
}

void LastErrors::OnEvent(const HostEvent& event) {
    if (const auto* const change = std::get_if<RunStateEvent>(&event.body)) {
        if (change->state == RunState::Unknown) {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            lines_.clear();
        }
        return;
    }
    const auto* const line = std::get_if<LogEvent>(&event.body);
    if (line == nullptr || line->level < log4cplus::ERROR_LOG_LEVEL) {
        return;
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    lines_.emplace_back(CompactLogText(line->level, line->text));
    if (lines_.size() > 1 + LastLines) {
        lines_.erase(std::next(lines_.begin()));
    }
}

}  // namespace LocalDevice
