#include "Zandrel/Docket.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <utility>

#include "Zandrel/DocketState.h"

namespace Zandrel {

Docket::State::State(std::string error) : verdict_(Verdict::Refused), text_(std::move(error)) {}

Docket::State::State(Clock::time_point deadline, std::function<void()> whenTimedOut)
    : deadline_(deadline), whenTimedOut_(std::move(whenTimedOut)), verdict_(Verdict::Open) {}

Docket::State::Verdict Docket::State::Wait() {
    boost::unique_lock<boost::mutex> lock(mutex_);
    while (verdict_ == Verdict::Open) {
        if (ExpireLocked(Clock::now())) {
            lock.unlock();
            whenTimedOut_();
            return Verdict::TimedOut;
        }
        concluded_.wait_until(lock, deadline_);
    }
    return verdict_;
}

bool Docket::State::Conclude(Verdict verdict, std::string text) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (verdict_ != Verdict::Open || ExpireLocked(Clock::now())) {
        return false;
    }
    verdict_ = verdict;
    text_ = std::move(text);
    concluded_.notify_all();
    return true;
}

void Docket::State::Expire(Clock::time_point now) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (verdict_ == Verdict::Open) {
        ExpireLocked(now);
    }
}

std::string Docket::State::GetText(Verdict verdict) const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return verdict_ == verdict ? text_ : std::string();
}

bool Docket::State::ExpireLocked(Clock::time_point now) {
    if (now < deadline_) {
        return false;
    }
    verdict_ = Verdict::TimedOut;
    concluded_.notify_all();
    return true;
}

Docket::Docket() = default;

Docket::Docket(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

bool Docket::IsReplyValid() const {
    return state_ && state_->Wait() == State::Verdict::Accepted;
}

bool Docket::IsAnswered() const {
    return !state_ || state_->Wait() != State::Verdict::TimedOut;
}

std::string Docket::ReadReply() const {
    return state_ ? state_->GetText(State::Verdict::Accepted) : std::string();
}

std::string Docket::ReadDeliveryError() const {
    return state_ ? state_->GetText(State::Verdict::Refused) : "no request";
}

}  // namespace Zandrel
