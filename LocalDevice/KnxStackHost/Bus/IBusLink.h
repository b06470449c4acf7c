#pragma once

#include <functional>

#include "Bus/Telegram.h"

namespace LocalDevice {

/// Takes what a link hears; called on the link's own thread, one telegram after the other in bus order. Throws nothing
/// and does not wait for long.
using TelegramHandler = std::function<void(const Telegram&)>;

/// One participant's access to a bus. It hears all telegrams of the others and none of its own. Thread-safe.
///
/// The destructor waits until the handler is no longer running; none of its calls follows.
class IBusLink {
public:
    IBusLink() = default;
    virtual ~IBusLink() = default;
    IBusLink(const IBusLink&) = delete;
    IBusLink& operator=(const IBusLink&) = delete;

    /// Sends `telegram` in the order of the calls, without waiting for the bus; the link fills in the source. False
    /// when it is dropped, because the bus is away or too many telegrams wait for it.
    virtual bool Send(const Telegram& telegram) = 0;

    /// Whether the bus is there.
    virtual bool IsConnected() const = 0;
};

}  // namespace LocalDevice
