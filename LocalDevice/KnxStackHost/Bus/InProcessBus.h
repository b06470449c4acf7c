#pragma once

#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>

#include "Bus/IBusLink.h"
#include "Support/WorkQueue.h"

namespace LocalDevice {

/// A bus inside the process. One thread delivers each telegram to all other participants, in the order of sending.
class InProcessBus {
public:
    InProcessBus() = default;
    ~InProcessBus() = default;
    InProcessBus(const InProcessBus&) = delete;
    InProcessBus& operator=(const InProcessBus&) = delete;

    /// A new participant with an individual address. The bus must outlive it.
    std::unique_ptr<IBusLink> Connect(std::uint16_t individualAddress, TelegramHandler handler);

private:
    class Link;
    class Participant;

    bool Send(const Participant* sender, const Telegram& telegram);
    void Deliver(const Participant* sender, const Telegram& telegram);
    void Disconnect(const std::shared_ptr<Participant>& participant);

    static constexpr std::size_t MaxWaitingTelegrams = 10'000;

    boost::mutex mutex_;
    std::set<std::shared_ptr<Participant>> participants_;

    WorkQueue thread_{MaxWaitingTelegrams};
};

}  // namespace LocalDevice
