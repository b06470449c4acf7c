#pragma once

#include <string>

#include "Ostra/IDeviceStackClient.h"

namespace Zandrel {

/// The road on which requests go to a device stack. Callable from any thread.
class RequestMessengerDeviceStack {
public:
    virtual ~RequestMessengerDeviceStack() = default;

    /// See the functions of the same names of `Ostra::IDeviceStackClient`.
    virtual bool Send(const std::string& json) = 0;
    virtual void SendAtEveryConnect(const std::string& json) = 0;
    virtual void SetResponseHandler(Ostra::IDeviceStackClient::IResponseHandler* handler) = 0;
};

/// The road over a client. Does not own the client, which must outlive it.
class RemoteRequestMessengerDeviceStack final : public RequestMessengerDeviceStack {
public:
    explicit RemoteRequestMessengerDeviceStack(Ostra::IDeviceStackClient& client) noexcept;

    bool Send(const std::string& json) override;
    void SendAtEveryConnect(const std::string& json) override;
    void SetResponseHandler(Ostra::IDeviceStackClient::IResponseHandler* handler) override;

private:
    Ostra::IDeviceStackClient* client_;
};

}  // namespace Zandrel
