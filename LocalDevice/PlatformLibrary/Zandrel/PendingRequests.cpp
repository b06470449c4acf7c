#include "PendingRequests.h"

#include <log4cplus/loggingmacros.h>

#include <boost/thread/lock_guard.hpp>
#include <utility>

namespace Zandrel {
namespace {

using Clock = Docket::State::Clock;
using Verdict = Docket::State::Verdict;

}  // namespace

PendingRequests::PendingRequests(unsigned int warnAfterTimeouts, log4cplus::Logger logger)
    : warnAfterTimeouts_(warnAfterTimeouts), logger_(std::move(logger)) {}

PendingRequests::RequestNumber PendingRequests::NextNumber() noexcept {
    static std::atomic<RequestNumber> lastNumber{0};
    const RequestNumber number = ++lastNumber;
    return number != 0 ? number : ++lastNumber;
}

Docket PendingRequests::Open(RequestNumber number, Duration timeout, ReplyReader reader) {
    const auto now = Clock::now();
    const auto deadline = now + timeout;
    auto state = std::make_shared<Docket::State>(deadline, [self = weak_from_this(), number] {
        if (const auto requests = self.lock()) {
            requests->OnTimedOut(number);
        }
    });
    const boost::lock_guard<boost::mutex> lock(mutex_);
    ExpireLocked(now);
    entries_.insert_or_assign(number, Entry{state, reader, deadline});
    deadlines_.emplace(deadline, number);
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
        deadlines_.clear();
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
    if (!node) {
        return std::nullopt;
    }
    deadlines_.erase({node.mapped().deadline, number});
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

void PendingRequests::ExpireLocked(TimePoint now) {
    while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
        if (const auto entry = entries_.extract(deadlines_.begin()->second)) {
            entry.mapped().state->Expire(now);
            CountTimeout();
        }
        deadlines_.erase(deadlines_.begin());
    }
}

}  // namespace Zandrel
