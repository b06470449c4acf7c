#include "Bus/BusParticipant.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>

#include "Bus/KnxdConnection.h"

namespace LocalDevice {

IBusLink* BusParticipant::Join() {
    const boost::lock_guard<boost::mutex> lock(linkMutex_);
    try {
        if (!link_) {
            link_ = connect_([this](const Telegram& telegram) { OnTelegram(telegram); });
        }
    } catch (const BusError&) {
        return nullptr;  // the bus is away; the caller says so
    }
    return link_.get();
}

bool BusParticipant::Send(const Telegram& telegram) {
    IBusLink* const link = Join();
    return link != nullptr && link->IsConnected() && link->Send(telegram);
}

std::optional<Telegram> BusParticipant::Read(std::uint16_t groupAddress, std::chrono::milliseconds timeout) {
    Join();  // not under the lock: a knxd that stands still takes its time
    boost::unique_lock<boost::mutex> lock(mutex_);
    const auto reader = readers_.insert(readers_.end(), Reader{groupAddress, std::nullopt});
    Telegram request;
    request.groupAddress = groupAddress;
    if (Send(request)) {
        changed_.wait_for(lock, boost::chrono::milliseconds(timeout.count()),
                          [&] { return reader->response.has_value() || isStopped_; });
    }
    auto response = reader->response;
    readers_.erase(reader);
    return response;
}

void BusParticipant::Stop() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
}

void BusParticipant::OnTelegram(const Telegram& telegram) {
    if (telegram.service != GroupService::Response) {
        return;
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    for (Reader& reader : readers_) {
        if (reader.groupAddress == telegram.groupAddress && !reader.response) {
            reader.response = telegram;
        }
    }
    changed_.notify_all();
}

}  // namespace LocalDevice
