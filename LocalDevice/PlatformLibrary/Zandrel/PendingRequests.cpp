#include "PendingRequests.h"

#include <log4cplus/loggingmacros.h>

#include <boost/thread/lock_guard.hpp>
#include <utility>

namespace Zandrel {
namespace {

using Clock = Docket::State::Clock;
using Verdict = Docket::State::Verdict;

/// How often requests whose docket nobody asks are looked through for time-outs.
constexpr boost::chrono::seconds SweepInterval{1};

}  // namespace

PendingRequests::PendingRequests(unsigned int warnAfterTimeouts, const log4cplus::Logger& logger)
    : warnAfterTimeouts_(warnAfterTimeouts), logger_(logger) {}

PendingRequests::RequestNumber PendingRequests::NextNumber() noexcept {
    static std::atomic<RequestNumber> lastNumber{0};
    const RequestNumber number = ++lastNumber;
    return number != 0 ? number : ++lastNumber;
}

Docket PendingRequests::Open(RequestNumber number, Duration timeout, ReplyReader reader) {
    const auto now = Clock::now();
    auto state = std::make_shared<Docket::State>(now + timeout, [self = weak_from_this(), number] {
        if (const auto requests = self.lock()) {
            requests->OnTimedOut(number);
        }
    });
    const boost::lock_guard<boost::mutex> lock(mutex_);
    SweepLocked(now);
    entries_.insert_or_assign(number, Entry{state, reader});
    return Docket(std::move(state));
}

void PendingRequests::End(RequestNumber number, const std::string& error) {
    if (const auto entry = Extract(number)) {
        entry->state->Conclude(Verdict::Refused, error);
    }
}

void PendingRequests::EndAll(const std::string& error) {
    decltype(entries_) ended;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        ended.swap(entries_);
    }
    for (const auto& [number, entry] : ended) {
        entry.state->Conclude(Verdict::Refused, error);
    }
}

void PendingRequests::OnResponse(unsigned long requestNumber, bool accepted, const std::string& text) {
    const auto entry = Extract(requestNumber);
    if (!entry) {
        LOG4CPLUS_DEBUG(logger_, "Late answer to request " << requestNumber << " dropped.");
        return;
    }
    const auto reply = accepted && entry->reader != nullptr ? entry->reader(text) : std::make_optional(text);
    const bool inTime = reply ? entry->state->Conclude(accepted ? Verdict::Accepted : Verdict::Refused, *reply)
                              : entry->state->Conclude(Verdict::Refused, "The answer has no value.");
    if (inTime) {
        timeoutsInARow_ = 0;
        return;
    }
    LOG4CPLUS_DEBUG(logger_, "Late answer to request " << requestNumber << " dropped.");
    CountTimeout();
}

void PendingRequests::OnConnectionLost() {
    EndAll("Connection to device stack lost.");
}

std::optional<PendingRequests::Entry> PendingRequests::Extract(unsigned long number) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    auto node = entries_.extract(number);
    if (node.empty()) {
        return std::nullopt;
    }
    return std::move(node.mapped());
}

void PendingRequests::OnTimedOut(RequestNumber number) {
    if (Extract(number)) {
        CountTimeout();
    }
}

void PendingRequests::CountTimeout() {
    const unsigned int timeouts = ++timeoutsInARow_;
    if (timeouts == warnAfterTimeouts_) {
        LOG4CPLUS_WARN(logger_, "The device stack left " << timeouts << " requests in a row without an answer.");
    }
}

void PendingRequests::SweepLocked(Clock::time_point now) {
    if (now < nextSweep_) {
        return;
    }
    nextSweep_ = now + SweepInterval;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (entry->second.state->Expire(now)) {
            entry = entries_.erase(entry);
            CountTimeout();
        } else {
            ++entry;
        }
    }
}

}  // namespace Zandrel
