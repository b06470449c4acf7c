#pragma once

#include <log4cplus/logger.h>

#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "DeviceModel.h"
#include "IDeviceStack.h"
#include "Ostra/IDeviceStackClient.h"
#include "Zandrel/DscAsyncRequestMessenger.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace LocalDevice {

/// A device stack that cannot be used: `what()` says why.
class DeviceStackError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The app host's connection to the device stack. One thread connects and disconnects.
class DeviceStackSession final : public IDeviceStack, private Ostra::IDeviceStackClient::IEventHandler {
public:
    /// Called on the client's event thread, one call at a time.
    class IListener {
    public:
        virtual void OnCoValue(std::uint16_t co, Zandrel::ZANVALUE value) = 0;
        /// The control event object got a value.
        virtual void OnControlEvent(const Zandrel::ZANVALUE& value) = 0;
        virtual void OnConnectionChanged(bool connected) = 0;

    protected:
        ~IListener() = default;
    };

    DeviceStackSession(int logicalDevice, log4cplus::Logger logger);
    /// Disconnects.
    ~DeviceStackSession();
    DeviceStackSession(const DeviceStackSession&) = delete;
    DeviceStackSession& operator=(const DeviceStackSession&) = delete;

    /// Connects to the device stack that the environment names and begins to report; called once. Gives up after 10
    /// attempts, 200 ms apart. `listener` must live until `Disconnect`. Throws `DeviceStackError`.
    void Connect(IListener& listener);

    /// What the device stack holds of the logical device. Throws `DeviceStackError` and `DeviceModelError`.
    DeviceModel ReadModel();

    bool SetValue(unsigned long id, const Zandrel::ZANVALUE& value) override;
    void AwaitRoom() override;

    /// Waits, for 5 s at most, until the device stack has done what it was asked for so far. Any thread.
    void Drain();

    /// Does nothing without a connection. On return the listener is not called any more.
    void Disconnect();

private:
    struct Release {
        void operator()(Ostra::IDeviceStackClient* client) const { Ostra::ReleaseDeviceStackClient(client); }
    };

    void CreateClient();
    static void Check(const Zandrel::Docket& docket, const char* request);

    bool OnValueChanged(unsigned long id, const std::string& text, const std::string& value) override;
    bool OnConnectionChanged(bool connected) override;

    const int logicalDevice_;
    const log4cplus::Logger logger_;

    // Constant between `Connect` and `Disconnect`.
    IListener* listener_ = nullptr;
    std::unique_ptr<Ostra::IDeviceStackClient, Release> client_;
    std::optional<Zandrel::RemoteRequestMessengerDeviceStack> road_;
    std::optional<Zandrel::DscAsyncRequestMessenger> messenger_;

    boost::mutex roomMutex_;
    Zandrel::Docket mark_;          ///< a request among the values
    unsigned int valuesSince_ = 0;  ///< after it
};

}  // namespace LocalDevice
