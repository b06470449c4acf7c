#include "Subject.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "Orn/Durations.h"

namespace BridgeModel {

using TestSupport::LogLine;
using Zandrel::ZANVALUE;

namespace {

/// Level and message, without what stands before it: app id, function and place.
std::vector<std::string> ToMessages(const std::vector<LogLine>& lines) {
    constexpr const char* Separator = " - ";
    std::vector<std::string> messages;
    std::transform(lines.begin(), lines.end(), std::back_inserter(messages), [&](const LogLine& line) {
        return line.level + ' ' +
               line.text.substr(line.text.find(Separator) + std::char_traits<char>::length(Separator));
    });
    return messages;
}

}  // namespace

Subject::Subject(Answers& answers) : answers_(answers) {
    log_.GetLogger().setLogLevel(log4cplus::INFO_LOG_LEVEL);
    identity_->SetAppId("app");
    identity_->SetLogicalDeviceId(*Zandrel::LogicalDeviceId::From(1));
    for (const CoType& type : Cos) {
        dpts_.Set(type.co, type.dpt);
    }
}

Outcome Subject::Apply(const Step& step, const Outcome& expected) {
    step_ = step;
    SetSurroundings(step.surroundings);
    Outcome outcome;
    outcome.result = Play(step, outcome);
    if (step.what == Step::What::TickersGoOn) {
        record_.WaitFor(expected.effects.size());
    }
    outcome.effects = record_.Take();
    if (step.what == Step::What::TickersGoOn) {
        SortByCo(outcome.effects);
    }
    outcome.log = ToMessages(log_.TakeLines());
    outcome.globalLog = ToMessages(globalLog_.TakeLines());
    return outcome;
}

void Subject::SetSurroundings(const Surroundings& surroundings) {
    groupObjects_.Set(surroundings);
    if (surroundings.isAttached) {
        access_.Attach({&groupObjects_, nullptr, nullptr, nullptr});
    } else {
        access_.Detach();
    }
    if (std::exchange(isConnected_, surroundings.isConnected) != surroundings.isConnected) {
        Connect(surroundings.isConnected);
    }
}

void Subject::Connect(bool isConnected) {
    if (!isConnected) {
        sut_.SetMessengers({}, {});
        return;
    }
    sut_.SetMessengers(
        [this](unsigned long id, const ZANVALUE& value, bool isResponse) { return SetValue(id, value, isResponse); },
        [this](unsigned long id, bool /*useStoredValue*/) { return GetValue(id); });
}

bool Subject::Play(const Step& step, Outcome& outcome) {
    switch (step.what) {
        case Step::What::BusWrite:
            return sut_.UpdateCoValue(step.co, KnxStack::GroupValue(step.bytes), false);
        case Step::What::BusResponse:
            return sut_.UpdateCoValue(step.co, KnxStack::GroupValue(step.bytes), true);
        case Step::What::BusRead:
            return Answer(step, outcome);
        case Step::What::AppWrite:
            return sut_.WriteValue(step.id, step.value);
        case Step::What::TimePasses:
            now_ += boost::posix_time::microseconds(step.time);
            return true;
        case Step::What::TickersGoOn:
            clock_->Advance(step.time * Zandrel::Durations::TickerTimeBase);
            return true;
        case Step::What::NewSettings:
            tickers_.SetSpeed(step.speed);
            tickers_.SetWrapping(step.wrapping);
            return true;
        case Step::What::NewType:
            dpts_.Set(step.co, step.dpt);
            return true;
        case Step::What::TickersEnd:
            tickers_.Terminate();
            return true;
    }
    return false;
}

bool Subject::Answer(const Step& step, Outcome& outcome) {
    KnxStack::GroupValue groupValue(step.bytes);
    const bool isAnswered = sut_.OnGroupValueRead(step.co, groupValue);
    outcome.answer = groupValue.GetBytes();
    return isAnswered;
}

bool Subject::SetValue(unsigned long id, const ZANVALUE& value, bool isResponse) {
    record_.Add({isResponse ? Effect::What::SetResponse : Effect::What::Set, id, value.Serialize()});
    if (!step_.surroundings.deviceStackTakes) {
        return false;
    }
    if (step_.surroundings.echoesAtOnce) {
        const bool isTaken = sut_.WriteValue(id, value);
        record_.Add({Effect::What::Echo, isTaken ? 1UL : 0UL});
    }
    return true;
}

Zandrel::Docket Subject::GetValue(unsigned long id) {
    record_.Add({Effect::What::Get, id});
    return answers_.GetDocket(step_);
}

}  // namespace BridgeModel
