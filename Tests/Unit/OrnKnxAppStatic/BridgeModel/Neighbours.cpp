#include "Neighbours.h"

#include <boost/chrono/duration.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "AppIdentity.h"
#include "Zandrel/EncodedString.h"

namespace BridgeModel {

using Zandrel::Docket;

namespace {

constexpr const char* Request = "GetValue";

}  // namespace

void Record::Add(Effect effect) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    effects_.push_back(std::move(effect));
    added_.notify_all();
}

void Record::WaitFor(std::size_t count) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    added_.wait_for(lock, boost::chrono::seconds(10), [this, count] { return effects_.size() >= count; });
}

std::vector<Effect> Record::Take() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return std::exchange(effects_, {});
}

void GroupObjects::Set(const Surroundings& surroundings) {
    groupObject_ = surroundings.groupObject;
    takes_ = surroundings.stackTakes;
}

KnxStack::IGroupObject* GroupObjects::GetGroupObject(std::uint16_t number) {
    record_.Add({Effect::What::Asked, number});
    return groupObject_ == Surroundings::GroupObject::Missing ? nullptr : this;
}

void GroupObjects::RegisterUser(KnxStack::IGroupValueUser& /*user*/) {}

bool GroupObjects::UnregisterUser(KnxStack::IGroupValueUser& /*user*/) {
    return true;
}

bool GroupObjects::WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned /*options*/) {
    record_.Add({Effect::What::Written, number, std::string(value.GetBytes().begin(), value.GetBytes().end())});
    return takes_;
}

Answers::Answers()
    : connection_({log_.GetLogger(), std::make_shared<Zandrel::AppIdentity>()}, std::make_shared<Zandrel::Clock>(),
                  deviceStack_.GetFactory(), TestSupport::ShortConnectionTimes()) {
    connection_.ConnectDeviceStack();
    deviceStack_.Ignore(Request);
    silence_ = Fetch();
    deviceStack_.Refuse(Request, RefusalText);
    refusal_ = Fetch();
    if (silence_.IsAnswered() || refusal_.IsReplyValid()) {
        throw std::logic_error("the device stack does not do as it is told");
    }
}

Docket Answers::Fetch() {
    Docket docket = connection_.GetValue(1, true).value();
    docket.IsAnswered();  // waits: the next one is to be treated in another way
    return docket;
}

Docket Answers::FetchValue(const std::string& serialised) {
    // Any bytes travel so.
    const nlohmann::json response{{"value", getUTF8FromLatin1(Zandrel::KnxStyleString(serialised)).GetBytes()},
                                  {"encoding", "latin-1"}};
    deviceStack_.Accept(Request, response.dump());
    Docket docket = Fetch();
    if (docket.ReadReply() != serialised) {
        throw std::logic_error("the device stack does not answer what it is told");
    }
    return docket;
}

Docket Answers::GetDocket(const Step& step) {
    if (step.answer == Step::Answer::Silence) {
        return silence_;
    }
    if (step.answer == Step::Answer::Refusal) {
        return refusal_;
    }
    const std::string serialised = step.value.Serialize();
    const auto found = values_.find(serialised);
    return found != values_.end() ? found->second : values_.emplace(serialised, FetchValue(serialised)).first->second;
}

}  // namespace BridgeModel
