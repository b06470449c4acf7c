#include "GroupObjects/GroupObjectService.h"

#include <boost/thread/lock_guard.hpp>
#include <nlohmann/json.hpp>
#include <utility>

#include "GroupObjects/ValueText.h"

namespace LocalDevice {

namespace {

/// The reason that the application's log tells; `otherwise` where it tells none.
std::string MakeReason(const std::string& remark, const std::string& otherwise) {
    return remark.empty() ? otherwise : "the application says: " + remark;
}

TelegramEvent MakeEvent(bool isIncoming, const Telegram& telegram, const CommunicationObject& object) {
    TelegramEvent event;
    event.isIncoming = isIncoming;
    event.telegram = telegram;
    event.number = object.number;
    event.name = object.name;
    event.dpt = object.dpt;
    return event;
}

}  // namespace

GroupObjectService::GroupObjectService(HostEvents& events) : events_(events) {}

GroupObjectService::~GroupObjectService() {
    Connect(nullptr);  // before the queue that the link's handler fills
}

KnxStack::IGroupObject* GroupObjectService::GetGroupObject(std::uint16_t number) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return table_.Find(number);
}

bool GroupObjectService::WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned) {
    TelegramEvent event;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        GroupObject* const object = table_.Find(number);
        if (object == nullptr) {
            return false;
        }
        std::string reason;
        const auto stored = object->Store(value, reason);
        const auto address = table_.GetSendingAddress(number);
        if (stored && address && isOnline_ && object->Transmits(reason)) {
            event = Transmit(GroupService::Write, *object, *address, stored);
        } else {
            event = MakeEvent(false, object->MakeTelegram(GroupService::Write, address.value_or(0), value),
                              object->GetDescription());
            event.value = stored;
            event.verdict = stored ? Verdict::Kept : Verdict::Refused;
            event.reason = !reason.empty() ? reason : !isOnline_ ? "device is not loaded" : "no group address";
        }
    }
    const bool isStored = event.value.has_value();
    Publish(std::move(event));
    return isStored;
}

void GroupObjectService::Connect(std::unique_ptr<IBusLink> link) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        std::swap(link_, link);
    }
    // The earlier link ends here, without the lock: it waits for its handler.
}

bool GroupObjectService::IsConnected() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return link_ != nullptr && link_->IsConnected();
}

void GroupObjectService::OnTelegram(const Telegram& telegram) {
    ++counters_.received;
    std::vector<std::uint16_t> listeners;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (isOnline_) {
            listeners = table_.GetListeners(telegram.groupAddress);
        }
    }
    if (listeners.empty()) {
        ++counters_.unaddressed;
        return;
    }
    for (const std::uint16_t number : listeners) {
        if (telegram.service != GroupService::Read) {
            DeliverValue(number, telegram);
        } else if (!reads_.Post([this, number, telegram] { AnswerRead(number, telegram); })) {
            ++counters_.overrun;
        }
    }
}

void GroupObjectService::LoadObjects(const DeviceDescription* description) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (description == nullptr) {
        table_.ClearObjects();
        return;
    }
    table_.LoadObjects(*description);
}

void GroupObjectService::LoadAssociations(const DeviceDescription* description) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (description == nullptr) {
        table_.ClearAssociations();
        return;
    }
    table_.LoadAssociations(*description);
}

void GroupObjectService::SetOnline(bool isOnline) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    isOnline_ = isOnline;
}

void GroupObjectService::OnLoaded() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    isReadOnInitDue_ = true;
}

void GroupObjectService::OnRunning() {
    std::vector<TelegramEvent> sent;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (!std::exchange(isReadOnInitDue_, false) || !isOnline_) {
            return;
        }
        for (const std::uint16_t number : table_.GetNumbers()) {
            const GroupObject& object = *table_.Find(number);
            const auto address = table_.GetSendingAddress(number);
            if (address && object.IsReadOnInit()) {
                sent.push_back(Transmit(GroupService::Read, object, *address, std::nullopt));
            }
        }
    }
    for (TelegramEvent& event : sent) {
        Publish(std::move(event));
    }
}

std::optional<std::uint32_t> GroupObjectService::FindDpt(std::uint16_t groupAddress) const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    for (const std::uint16_t number : table_.GetListeners(groupAddress)) {
        const GroupObject* const object = table_.Find(number);
        if (object != nullptr) {
            return object->GetDescription().dpt;
        }
    }
    return std::nullopt;
}

std::size_t GroupObjectService::CountListeners(std::uint16_t groupAddress) const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return table_.GetListeners(groupAddress).size();
}

std::size_t GroupObjectService::GetObjectCount() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return table_.GetNumbers().size();
}

void GroupObjectService::DeliverValue(std::uint16_t number, const Telegram& telegram) {
    TelegramEvent event;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        GroupObject* const object = table_.Find(number);
        if (object == nullptr) {
            return;
        }
        event = MakeEvent(true, telegram, object->GetDescription());
        event.value = object->Receive(telegram, event.reason);
    }
    if (!event.value) {
        event.verdict = Verdict::Refused;
    } else if (!user_.IsSet()) {
        event.reason = "no application";
    } else {
        PassValue(event);
    }
    Publish(std::move(event));
}

void GroupObjectService::PassValue(TelegramEvent& event) {
    const ApplicationLog::Call call;
    const bool isTaken = user_
                             .Call([&event](KnxStack::IGroupValueUser& user) {
                                 return event.telegram.service == GroupService::Response
                                            ? user.OnGroupValueResponse(event.number, *event.value)
                                            : user.OnGroupValueWrite(event.number, *event.value);
                             })
                             .value_or(true);
    // An application that passes a value on has nothing to say about it.
    if (isTaken && call.GetRemark().empty()) {
        return;
    }
    event.verdict = isTaken ? Verdict::Ignored : Verdict::Refused;
    event.reason = MakeReason(call.GetRemark(), "by the application");
}

void GroupObjectService::OnAppWrite(const AppWrite& write) {
    TelegramEvent event;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        const GroupObject* const object = table_.Find(write.number);
        if (object == nullptr || (write.fate == AppWrite::Fate::Passed && object->MayBeWritten())) {
            return;
        }
        const CommunicationObject& description = object->GetDescription();
        const auto value = MakeGroupValue(write.value, description.dpt);
        const auto address = table_.GetSendingAddress(write.number).value_or(0);
        event = MakeEvent(false, object->MakeTelegram(GroupService::Write, address, value), description);
        event.value = value;
        event.verdict = write.fate == AppWrite::Fate::Echo ? Verdict::Echo : Verdict::Refused;
        switch (write.fate) {
            case AppWrite::Fate::Passed:
                object->Transmits(event.reason);
                break;
            case AppWrite::Fate::Echo:
                event.reason = "not sent back";
                break;
            case AppWrite::Fate::Refused:
                event.reason = MakeReason(write.remark, "by the application");
                break;
        }
    }
    Publish(std::move(event));
}

void GroupObjectService::AnswerRead(std::uint16_t number, const Telegram& telegram) {
    TelegramEvent event;
    bool isPassed = false;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        const GroupObject* const object = table_.Find(number);
        if (object == nullptr) {
            return;
        }
        event = MakeEvent(true, telegram, object->GetDescription());
        isPassed = object->PassesRead(event.reason);
    }
    const auto given = isPassed ? AskForValue(number, event) : std::nullopt;
    std::optional<TelegramEvent> answer;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        GroupObject* const object = table_.Find(number);
        const bool isAnswerable = given && object != nullptr && isOnline_;
        const auto value = isAnswerable ? object->Store(*given, event.reason) : std::nullopt;
        if (value) {
            answer = Transmit(GroupService::Response, *object, telegram.groupAddress, value);
        }
    }
    event.verdict = answer ? Verdict::Answered : Verdict::Silent;
    Publish(std::move(event));
    if (answer) {
        Publish(std::move(*answer));
    }
}

std::optional<KnxStack::GroupValue> GroupObjectService::AskForValue(std::uint16_t number, TelegramEvent& event) {
    KnxStack::GroupValue value;
    const ApplicationLog::Call call;
    const auto isGiven = user_.Call(
        [number, &value](KnxStack::IGroupValueUser& user) { return user.OnGroupValueRead(number, value, false); });
    if (isGiven.has_value()) {
        event.reason = *isGiven ? "" : MakeReason(call.GetRemark(), "the application has no value");
        return *isGiven ? std::optional(value) : std::nullopt;
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const GroupObject* const object = table_.Find(number);
    auto last = object != nullptr ? object->GetValue() : std::nullopt;
    event.reason = last ? "" : "no value yet";
    return last;
}

TelegramEvent GroupObjectService::Transmit(GroupService service, const GroupObject& object, std::uint16_t groupAddress,
                                           const std::optional<KnxStack::GroupValue>& value) {
    TelegramEvent event = MakeEvent(false, object.MakeTelegram(service, groupAddress, value), object.GetDescription());
    event.value = value;
    const bool isConnected = link_ != nullptr && link_->IsConnected();
    const bool isTaken = link_ != nullptr && link_->Send(event.telegram);
    event.verdict = !isTaken ? Verdict::Dropped : isConnected ? Verdict::Sent : Verdict::Queued;
    event.reason = event.verdict == Verdict::Sent ? ""
                   : isConnected                  ? "too many telegrams wait for the bus"
                                                  : "the bus is away";
    return event;
}

void GroupObjectService::Publish(TelegramEvent event) {
    switch (event.verdict) {
        case Verdict::Taken:
            ++counters_.taken;
            break;
        case Verdict::Ignored:
            ++counters_.ignored;
            break;
        case Verdict::Refused:
            ++counters_.refused;
            break;
        case Verdict::Answered:
            ++counters_.answered;
            break;
        case Verdict::Silent:
            ++counters_.silent;
            break;
        case Verdict::Sent:
            ++counters_.sent;
            break;
        case Verdict::Queued:
            ++counters_.queued;
            break;
        case Verdict::Kept:
            ++counters_.kept;
            break;
        case Verdict::Echo:
            ++counters_.echo;
            break;
        case Verdict::Dropped:
            ++counters_.dropped;
            break;
    }
    events_.Publish(std::move(event));
}

}  // namespace LocalDevice
