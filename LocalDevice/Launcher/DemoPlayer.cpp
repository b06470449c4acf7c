#include "DemoPlayer.h"

#include <utility>

#include "KnxAddress.h"

namespace LocalDevice {

namespace {

std::string Quoted(const std::string& value) {
    return "\"" + value + "\"";
}

}  // namespace

DemoPlayer::DemoPlayer(DemoScript script, Actions actions) : script_(std::move(script)), actions_(std::move(actions)) {}

void DemoPlayer::Begin(TimePoint now) {
    isPlaying_ = true;
    stepBegin_ = now;
    Proceed(now);
}

void DemoPlayer::OnTelegram(std::uint16_t groupAddress, const std::string& value, TimePoint now) {
    if (!isPlaying_) {
        return;
    }
    received_[groupAddress].push_back(value);
    Proceed(now);
}

void DemoPlayer::OnWriteFailed(const std::string& reason) {
    if (isPlaying_) {
        End("the demo's telegram cannot be sent: " + reason);
    }
}

void DemoPlayer::OnTime(TimePoint now) {
    const auto deadline = GetDeadline();
    if (deadline && now >= *deadline) {
        Fail(std::string(Step().kind == DemoStep::Kind::Await ? "it did not come" : "nothing came") + " within " +
             std::to_string(Step().timeout.count()) + " ms");
    }
}

std::optional<DemoPlayer::TimePoint> DemoPlayer::GetDeadline() const {
    if (!isPlaying_) {
        return std::nullopt;
    }
    return stepBegin_ + std::chrono::milliseconds(Step().timeout.count());
}

void DemoPlayer::Proceed(TimePoint now) {
    while (isPlaying_ && position_ < script_.steps.size()) {
        const DemoStep& step = Step();
        if (step.kind == DemoStep::Kind::Write) {
            received_.clear();
            actions_.show(step, std::chrono::milliseconds(0));
            actions_.write(step);
        } else if (!MeetExpectation(now)) {
            return;
        }
        ++position_;
        stepBegin_ = now;
    }
    if (isPlaying_) {
        End({});
    }
}

bool DemoPlayer::MeetExpectation(TimePoint now) {
    auto& values = received_[Step().groupAddress];
    while (!values.empty()) {
        const std::string value = std::move(values.front());
        values.pop_front();
        if (value == Step().value) {
            actions_.show(Step(), std::chrono::duration_cast<std::chrono::milliseconds>(now - stepBegin_));
            return true;
        }
        if (Step().kind == DemoStep::Kind::Expect) {
            Fail(Quoted(value) + " came");
            return false;
        }
    }
    return false;
}

void DemoPlayer::Fail(const std::string& problem) {
    End("step " + std::to_string(position_ + 1) + ", " + Quoted(Step().title) + ": expected " + Quoted(Step().value) +
        " on " + FormatGroupAddress(Step().groupAddress) + ", but " + problem);
}

void DemoPlayer::End(const std::string& failure) {
    isPlaying_ = false;
    actions_.end(failure);
}

}  // namespace LocalDevice
