#include "Output/HostEvents.h"

#include <algorithm>
#include <boost/thread/lock_guard.hpp>
#include <utility>

#include "Support/UserSlot.h"

namespace LocalDevice {

const char* ToText(Verdict verdict) {
    switch (verdict) {
        case Verdict::Taken:
            return "taken";
        case Verdict::Ignored:
            return "ignored";
        case Verdict::Refused:
            return "refused";
        case Verdict::Answered:
            return "answered";
        case Verdict::Silent:
            return "silent";
        case Verdict::Sent:
            return "sent";
        case Verdict::Queued:
            return "queued";
        case Verdict::Kept:
            return "kept";
        case Verdict::Echo:
            return "echo";
        case Verdict::Dropped:
            break;
    }
    return "dropped";
}

const char* ToText(RunState state) {
    switch (state) {
        case RunState::Running:
            return "running";
        case RunState::Error:
            return "error";
        case RunState::Unknown:
            break;
    }
    return "unknown";
}

class HostEvents::Entry {
public:
    explicit Entry(Subscriber subscriber) : subscriber_(std::move(subscriber)) { slot_.Set(subscriber_); }

    void Tell(const HostEvent& event) {
        slot_.Notify([&event](const Subscriber& subscriber) { subscriber(event); });
    }
    void Leave() { slot_.Clear(subscriber_); }

private:
    const Subscriber subscriber_;
    UserSlot<const Subscriber> slot_;
};

std::unique_ptr<HostEvents::Subscription> HostEvents::Subscribe(Subscriber subscriber) {
    auto entry = std::make_shared<Entry>(std::move(subscriber));
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        entries_.push_back(entry);
    }
    return std::make_unique<Subscription>(*this, std::move(entry));
}

void HostEvents::Publish(HostEvent::Body body) {
    const HostEvent event{std::chrono::system_clock::now(), std::move(body)};
    std::vector<std::shared_ptr<Entry>> entries;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        entries = entries_;
    }
    for (const auto& entry : entries) {
        entry->Tell(event);
    }
}

void HostEvents::Remove(const std::shared_ptr<Entry>& entry) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        entries_.erase(std::remove(entries_.begin(), entries_.end(), entry), entries_.end());
    }
    entry->Leave();
}

}  // namespace LocalDevice
