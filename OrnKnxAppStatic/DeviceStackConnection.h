#pragma once

#include <atomic>
#include <boost/thread/shared_mutex.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Orn/Clock.h"
#include "Orn/Durations.h"
#include "Ostra/IDeviceStackClient.h"
#include "PrefixedLogger.h"
#include "Zandrel/Docket.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

class DscAsyncRequestMessenger;
class RequestMessengerDeviceStack;

/// How an answer of the device stack is judged, the same everywhere.
enum class Answer { Valid, TimedOut, Refused };

/// Waits for the answer of `docket`.
Answer Judge(const Docket& docket);

/// Where device-stack clients come from and go to.
struct ClientFactory {
    /// Null when there is no connection. An empty address means the local device stack.
    std::function<Ostra::IDeviceStackClient*(const std::string& address)> create;
    std::function<void(Ostra::IDeviceStackClient*)> release;
};

/// The platform's own clients.
ClientFactory PlatformClientFactory();

/// How long the connection waits for what.
struct ConnectionTimes {
    boost::chrono::milliseconds requestTimeout = Durations::RequestTimeout;
    boost::chrono::milliseconds configurationTimeout = Durations::ConfigurationTimeout;
    boost::chrono::milliseconds retryPause = Durations::ConnectionRetryPause;
};

/// The connection to the device stack: client, messenger, and the one way in which requests are sent.
///
/// Connecting and disconnecting belong to the host's thread; everything else may be called from any thread, at any
/// time: a request without a messenger yields none (no docket, no call). Requests are sent under a shared lock that
/// `Disconnect` takes exclusively; nobody waits for an answer under it, so a thread that outlives the connection can
/// neither hold it up nor touch what is gone.
class DeviceStackConnection {
public:
    using Properties = std::map<Ostra::IDeviceStackClient::PropertyType, Ostra::IDeviceStackClient::Property>;

    /// `address`: where the device stack listens; empty means the local one.
    DeviceStackConnection(PrefixedLogger log, std::shared_ptr<Clock> clock,
                          ClientFactory factory = PlatformClientFactory(), ConnectionTimes times = {},
                          std::string address = {});
    ~DeviceStackConnection();
    DeviceStackConnection(const DeviceStackConnection&) = delete;
    DeviceStackConnection& operator=(const DeviceStackConnection&) = delete;

    /// Connects, registers the program and switches on the native format. True when all of it worked; what a failure
    /// leaves behind is freed by `Disconnect`. `onMessenger` is called as soon as requests can be sent.
    bool ConnectDeviceStack(const std::function<void()>& onMessenger = [] {});

    /// Ends every open docket, destroys the messenger and releases the client. On return no event handler is called.
    void Disconnect();

    /// Registers `handler` for the device stack's events until `Disconnect`. Does nothing without a client, and where
    /// it is registered already.
    void SetEventHandler(Ostra::IDeviceStackClient::IEventHandler& handler);

    bool IsConnected() const;

    /// A command with the messenger's own time-out of 30 s.
    std::optional<Docket> Request(const std::string& json);
    /// The object-model document, with a time-out of 25 s.
    std::optional<Docket> SetConfiguration(const std::string& document);
    std::optional<Docket> SetConfiguration(unsigned long id, const Properties& properties);
    std::optional<Docket> SetValue(unsigned long id, const ZANVALUE& value);
    std::optional<Docket> GetValue(unsigned long id, bool useStoredValue);
    /// True when the value was handed on, false when that was refused.
    std::optional<bool> SetValueAndIgnoreResponse(unsigned long id, const ZANVALUE& value, bool isResponse = false);

private:
    template <typename Call>
    auto WithMessenger(const Call& call) const
        -> std::optional<decltype(call(std::declval<DscAsyncRequestMessenger&>()))>;
    void ReplaceClient(Ostra::IDeviceStackClient* client);
    void CreateMessenger();

    const PrefixedLogger log_;
    const std::shared_ptr<Clock> clock_;
    const ClientFactory factory_;
    const ConnectionTimes times_;
    const std::string address_;

    mutable boost::shared_mutex mutex_;  ///< guards what follows; held exclusively to change it, shared to use it
    Ostra::IDeviceStackClient* client_ = nullptr;
    bool messengerCreated_ = false;
    std::atomic<bool> eventHandlerSet_{false};
    std::unique_ptr<RequestMessengerDeviceStack> road_;
    std::unique_ptr<DscAsyncRequestMessenger> messenger_;
};

}  // namespace Zandrel
