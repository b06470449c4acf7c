#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <utility>

#include "Bus/IBusLink.h"

namespace LocalDevice {

/// Makes a link to the bus for one more participant.
using BusConnector = std::function<std::unique_ptr<IBusLink>(TelegramHandler)>;

/// Another participant of the bus, which a person controls. It joins the bus when it is first used. Thread-safe.
class BusParticipant {
public:
    explicit BusParticipant(BusConnector connect) : connect_(std::move(connect)) {}
    ~BusParticipant() = default;
    BusParticipant(const BusParticipant&) = delete;
    BusParticipant& operator=(const BusParticipant&) = delete;

    /// False when the bus is away.
    bool Send(const Telegram& telegram);

    /// Sends a read request and waits for the first response. None when none comes within `timeout`, the bus is away or
    /// `Stop` is called.
    std::optional<Telegram> Read(std::uint16_t groupAddress, std::chrono::milliseconds timeout);

    /// Ends every wait, now and later.
    void Stop();

private:
    struct Reader {
        std::uint16_t groupAddress;
        std::optional<Telegram> response;
    };

    void OnTelegram(const Telegram& telegram);
    IBusLink* Join();

    const BusConnector connect_;

    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::list<Reader> readers_;
    bool isStopped_ = false;

    boost::mutex linkMutex_;
    std::unique_ptr<IBusLink> link_;  ///< last, so that its handler finds the rest; stays once made
};

}  // namespace LocalDevice
