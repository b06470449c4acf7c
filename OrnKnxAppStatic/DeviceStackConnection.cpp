#include "DeviceStackConnection.h"

#include <boost/thread/lock_types.hpp>
#include <utility>

#include "ContainExceptions.h"
#include "Zandrel/DscAsyncRequestMessenger.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace Zandrel {

namespace {

constexpr int ConnectionAttempts = 10;
/// After so many time-outs in a row the messenger warns.
constexpr unsigned int WarnAfterTimeouts = 3;

}  // namespace

Answer Judge(const Docket& docket) {
    if (docket.IsReplyValid()) {
        return Answer::Valid;
    }
    return docket.IsAnswered() ? Answer::Refused : Answer::TimedOut;
}

ClientFactory PlatformClientFactory() {
    return {[](const std::string& address) {
                return address.empty() ? Ostra::CreateDeviceStackClient() : Ostra::CreateDeviceStackClient(address);
            },
            [](Ostra::IDeviceStackClient* client) { Ostra::ReleaseDeviceStackClient(client); }};
}

DeviceStackConnection::DeviceStackConnection(PrefixedLogger log, std::shared_ptr<Clock> clock, ClientFactory factory,
                                             ConnectionTimes times, std::string address)
    : log_(std::move(log)),
      clock_(std::move(clock)),
      factory_(std::move(factory)),
      times_(times),
      address_(std::move(address)) {}

DeviceStackConnection::~DeviceStackConnection() {
    Disconnect();
}

bool DeviceStackConnection::ConnectDeviceStack(const std::function<void()>& onMessenger) {
    if (client_ == nullptr || messengerCreated_) {
        if (address_.empty()) {
            ORN_LOG(log_, INFO, "Create devicestack client connecting with localhost...");
        } else {
            ORN_LOG(log_, INFO, "Create devicestack client connecting with '" << address_ << "'...");
        }
        for (int attempt = 0; attempt < ConnectionAttempts; ++attempt) {
            ReplaceClient(factory_.create(address_));
            if (client_ != nullptr) {
                break;
            }
            clock_->SleepFor(times_.retryPause);
            ORN_LOG(log_, WARN, "Failed to connect to device stack. Retrying...");
        }
        if (client_ == nullptr) {
            ORN_LOG(log_, ERROR, "Failed to connect to device stack.");
            return false;
        }
    }
    CreateMessenger();
    onMessenger();

    ORN_LOG(log_, INFO, "Registering OrnKnxAppPrg as devicestack client...");
    const Docket registration = messenger_->RegisterApplication("OrnKnxAppPrg", "field", "KNX");
    switch (Judge(registration)) {
        case Answer::Valid:
            break;
        case Answer::TimedOut:
            ORN_LOG(log_, ERROR, "Request timed out!");
            return false;
        case Answer::Refused:
            ORN_LOG(log_, ERROR, "Error! " << registration.ReadDeliveryError());
            return false;
    }
    if (!messenger_->EnableNativeFormat()) {
        ORN_LOG(log_, ERROR, "Failed to configure message format of device stack communication.");
        return false;
    }
    return true;
}

void DeviceStackConnection::ReplaceClient(Ostra::IDeviceStackClient* client) {
    Ostra::IDeviceStackClient* previous = nullptr;
    std::unique_ptr<RequestMessengerDeviceStack> road;
    std::unique_ptr<DscAsyncRequestMessenger> messenger;
    {
        const boost::unique_lock<boost::shared_mutex> lock(mutex_);
        previous = std::exchange(client_, client);
        road = std::move(road_);
        messenger = std::move(messenger_);
        messengerCreated_ = false;
        eventHandlerSet_ = false;
    }
    messenger.reset();
    road.reset();
    if (previous != nullptr) {
        factory_.release(previous);
    }
}

void DeviceStackConnection::CreateMessenger() {
    auto road = std::make_unique<RemoteRequestMessengerDeviceStack>(*client_);
    auto messenger = std::make_unique<DscAsyncRequestMessenger>(*road, Durations::ToPosixTime(times_.requestTimeout),
                                                                WarnAfterTimeouts, log_.GetLogger());
    messenger->SetAsResponseHandler();
    const boost::unique_lock<boost::shared_mutex> lock(mutex_);
    road_ = std::move(road);
    messenger_ = std::move(messenger);
    messengerCreated_ = true;
}

void DeviceStackConnection::Disconnect() {
    if (client_ == nullptr) {
        return;
    }
    {
        // A cycle that goes on in the background must not register the handler again once it is dropped.
        const boost::unique_lock<boost::shared_mutex> lock(mutex_);
        eventHandlerSet_ = true;
    }
    // Whatever the client makes of that, it is given back: then it calls nobody any more.
    const auto attempt = [this](const auto& step) {
        ContainExceptions(log_, "Disconnect", [&step] {
            step();
            return true;
        });
    };
    if (messenger_ != nullptr) {
        attempt([this] { messenger_->UnsetAsResponseHandler(); });
    }
    attempt([this] { client_->SetEventHandler(nullptr); });
    ReplaceClient(nullptr);
}

void DeviceStackConnection::SetEventHandler(Ostra::IDeviceStackClient::IEventHandler& handler) {
    const boost::shared_lock<boost::shared_mutex> lock(mutex_);
    if (client_ != nullptr && !eventHandlerSet_.exchange(true)) {
        client_->SetEventHandler(&handler);
    }
}

bool DeviceStackConnection::IsConnected() const {
    const boost::shared_lock<boost::shared_mutex> lock(mutex_);
    return messenger_ != nullptr;
}

template <typename Call>
auto DeviceStackConnection::WithMessenger(const Call& call) const
    -> std::optional<decltype(call(std::declval<DscAsyncRequestMessenger&>()))> {
    const boost::shared_lock<boost::shared_mutex> lock(mutex_);
    if (messenger_ == nullptr) {
        return std::nullopt;
    }
    return call(*messenger_);
}

std::optional<Docket> DeviceStackConnection::Request(const std::string& json) {
    return WithMessenger([&json](DscAsyncRequestMessenger& messenger) {
        return messenger.Request(json, boost::posix_time::time_duration());
    });
}

std::optional<Docket> DeviceStackConnection::SetConfiguration(const std::string& document) {
    return WithMessenger([this, &document](DscAsyncRequestMessenger& messenger) {
        return messenger.SetConfiguration(document, Durations::ToPosixTime(times_.configurationTimeout));
    });
}

std::optional<Docket> DeviceStackConnection::SetConfiguration(unsigned long id, const Properties& properties) {
    return WithMessenger(
        [id, &properties](DscAsyncRequestMessenger& messenger) { return messenger.SetConfiguration(id, properties); });
}

std::optional<Docket> DeviceStackConnection::SetValue(unsigned long id, const ZANVALUE& value) {
    return WithMessenger([id, &value](DscAsyncRequestMessenger& messenger) { return messenger.SetValue(id, value); });
}

std::optional<Docket> DeviceStackConnection::GetValue(unsigned long id, bool useStoredValue) {
    return WithMessenger(
        [id, useStoredValue](DscAsyncRequestMessenger& messenger) { return messenger.GetValue(id, useStoredValue); });
}

std::optional<bool> DeviceStackConnection::SetValueAndIgnoreResponse(unsigned long id, const ZANVALUE& value,
                                                                     bool isResponse) {
    return WithMessenger([id, &value, isResponse](DscAsyncRequestMessenger& messenger) {
        return messenger.SetValueAndIgnoreResponse(id, value, isResponse);
    });
}

}  // namespace Zandrel
