#include "Bus/InProcessBus.h"

#include <boost/thread/lock_guard.hpp>
#include <utility>

#include "Support/UserSlot.h"

namespace LocalDevice {

class InProcessBus::Participant {
public:
    explicit Participant(TelegramHandler handler) : handler_(std::move(handler)) { slot_.Set(handler_); }

    void Deliver(const Telegram& telegram) {
        slot_.Notify([&telegram](const TelegramHandler& handler) { handler(telegram); });
    }

    void Leave() { slot_.Clear(handler_); }

private:
    const TelegramHandler handler_;
    UserSlot<const TelegramHandler> slot_;
};

class InProcessBus::Link final : public IBusLink {
public:
    Link(InProcessBus& bus, std::uint16_t individualAddress, std::shared_ptr<Participant> participant)
        : bus_(bus), individualAddress_(individualAddress), participant_(std::move(participant)) {}
    ~Link() override { bus_.Disconnect(participant_); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    bool Send(const Telegram& telegram) override {
        Telegram sent = telegram;
        sent.source = individualAddress_;
        return bus_.Send(participant_.get(), sent);
    }

    bool IsConnected() const override { return true; }

private:
    InProcessBus& bus_;
    const std::uint16_t individualAddress_;
    const std::shared_ptr<Participant> participant_;
};

std::unique_ptr<IBusLink> InProcessBus::Connect(std::uint16_t individualAddress, TelegramHandler handler) {
    auto participant = std::make_shared<Participant>(std::move(handler));
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        participants_.insert(participant);
    }
    return std::make_unique<Link>(*this, individualAddress, std::move(participant));
}

bool InProcessBus::Send(const Participant* sender, const Telegram& telegram) {
    return thread_.Post([this, sender, telegram] { Deliver(sender, telegram); });
}

void InProcessBus::Deliver(const Participant* sender, const Telegram& telegram) {
    std::set<std::shared_ptr<Participant>> participants;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        participants = participants_;
    }
    for (const auto& participant : participants) {
        if (participant.get() != sender) {
            participant->Deliver(telegram);
        }
    }
}

void InProcessBus::Disconnect(const std::shared_ptr<Participant>& participant) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        participants_.erase(participant);
    }
    participant->Leave();
}

}  // namespace LocalDevice
