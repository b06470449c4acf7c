#include "Zandrel/RequestMessengerDeviceStack.h"

namespace Zandrel {

RemoteRequestMessengerDeviceStack::RemoteRequestMessengerDeviceStack(Ostra::IDeviceStackClient& client) noexcept
    : client_(&client) {}

bool RemoteRequestMessengerDeviceStack::Send(const std::string& json) {
    return client_->Send(json);
}

void RemoteRequestMessengerDeviceStack::SendAtEveryConnect(const std::string& json) {
    client_->SendAtEveryConnect(json);
}

void RemoteRequestMessengerDeviceStack::SetResponseHandler(Ostra::IDeviceStackClient::IResponseHandler* handler) {
    client_->SetResponseHandler(handler);
}

}  // namespace Zandrel
