#pragma once

#include <string>
#include <variant>

namespace Ostra {

/// A connection to the device stack, the service that owns the device's object model (devices, channels, data points)
/// and the values behind it.
///
/// Created by `CreateDeviceStackClient`, given back with `ReleaseDeviceStackClient`. Callable from any thread. The
/// client has three threads of its own: for answers, for events, and a stand-in that reads while an event is handled.
/// After a lost connection it connects again, with a growing pause, and repeats what `SendAtEveryConnect` was given.
class IDeviceStackClient {
public:
    /// Receives the device stack's events on the client's event thread, one at a time. No call throws. The client does
    /// not own it. Every function returns true when the event was handled.
    class IEventHandler {
    public:
        /// A data point got a value. `id` is its object-model id, `text` the event's kind ("valueChanged"; for logs
        /// only), `value` the value in the connection's format: serialised when the native format is on.
        virtual bool OnValueChanged(unsigned long id, const std::string& text, const std::string& value) = 0;

        /// The records of a device were set anew. `id` is its object-model id.
        virtual bool OnConfigurationChanged(unsigned long /*id*/) { return true; }

        /// Somebody emitted an event (such as "configurationLoaded") on the device stack.
        virtual bool OnEventEmitted(const std::string& /*eventType*/) { return true; }

        /// The connection was lost (false) or is back (true).
        virtual bool OnConnectionChanged(bool connected) = 0;

    protected:
        ~IEventHandler() = default;
    };

    /// Receives answers on the client's answer thread. No call throws. The client does not own it.
    class IResponseHandler {
    public:
        /// An answer arrived: the number of the request it belongs to, whether the device stack accepted the request,
        /// and the whole answer (accepted) or the reason (refused) as text.
        virtual void OnResponse(unsigned long requestNumber, bool accepted, const std::string& text) = 0;

        /// The connection was lost: requests under way will not be answered.
        virtual void OnConnectionLost() = 0;

    protected:
        ~IResponseHandler() = default;
    };

    /// A property of a device, channel or data point that can be set on its own.
    enum class PropertyType { Name, Enabled, Visible };
    using Property = std::variant<bool, std::string>;

    /// Sets the receiver of events; null drops it. On return no call to the earlier one is running, and none follows,
    /// unless the caller is such a call itself.
    virtual void SetEventHandler(IEventHandler* handler) = 0;

    /// Sets the receiver of answers; null drops it. Waits like `SetEventHandler`.
    virtual void SetResponseHandler(IResponseHandler* handler) = 0;

    /// Queues one JSON object, a request, for sending; its member "request" is the number under which the answer comes,
    /// and without one there is no answer. Does not wait. False when there is no connection.
    virtual bool Send(const std::string& json) = 0;

    /// Remembers a request that makes up the session (registration, format): the client sends it, without its number,
    /// again after each reconnect, in the order of the calls, before anything else.
    virtual void SendAtEveryConnect(const std::string& json) = 0;

protected:
    virtual ~IDeviceStackClient() = default;
};

/// Connects to the local device's device stack, as the environment names it (ORN_DEVICE_STACK, "HOST:PORT"). Null when
/// nobody listens there. Waits 1 s at most.
IDeviceStackClient* CreateDeviceStackClient();

/// The same for a device stack elsewhere: `address` is "HOST" or "HOST:PORT".
IDeviceStackClient* CreateDeviceStackClient(const std::string& address);

/// Closes the connection, ends the client's threads and destroys it; null is accepted. On return no handler is called
/// any more. Not to be called on one of the client's threads.
void ReleaseDeviceStackClient(IDeviceStackClient* client);

}  // namespace Ostra
