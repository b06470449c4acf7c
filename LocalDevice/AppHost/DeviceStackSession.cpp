#include "DeviceStackSession.h"

#include <log4cplus/loggingmacros.h>

#include <boost/chrono/duration.hpp>
#include <boost/date_time/posix_time/posix_time_duration.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread_only.hpp>
#include <utility>

#include "Zandrel/KnxOdsMapping.h"

namespace LocalDevice {

namespace {

using Zandrel::ZANVALUE;
namespace Mapping = Zandrel::KnxOdsMapping;

constexpr int ConnectionAttempts = 10;
constexpr boost::chrono::milliseconds ConnectionPause{200};
constexpr int RequestTimeoutSeconds = 5;
constexpr unsigned int WarnAfterTimeouts = 3;
constexpr unsigned int ValuesBetweenMarks = 256;

}  // namespace

DeviceStackSession::DeviceStackSession(int logicalDevice, log4cplus::Logger logger)
    : logicalDevice_(logicalDevice), logger_(std::move(logger)) {}

DeviceStackSession::~DeviceStackSession() {
    Disconnect();
}

void DeviceStackSession::Connect(IListener& listener) {
    CreateClient();
    listener_ = &listener;
    road_.emplace(*client_);
    messenger_.emplace(*road_, boost::posix_time::seconds(RequestTimeoutSeconds), WarnAfterTimeouts, logger_);
    messenger_->SetAsResponseHandler();
    // Values before events: from the registration on, none is missed.
    if (!messenger_->EnableNativeFormat()) {
        throw DeviceStackError("the device stack refuses serialised values");
    }
    client_->SetEventHandler(this);
    Check(messenger_->RegisterApplication("OrnAppHost", "application", "KNX"), "registration");
}

void DeviceStackSession::CreateClient() {
    for (int attempt = 1; attempt <= ConnectionAttempts; ++attempt) {
        if (attempt > 1) {
            boost::this_thread::sleep_for(ConnectionPause);
        }
        client_.reset(Ostra::CreateDeviceStackClient());
        if (client_) {
            return;
        }
    }
    throw DeviceStackError("no connection to the device stack");
}

void DeviceStackSession::Check(const Zandrel::Docket& docket, const char* request) {
    if (docket.IsReplyValid()) {
        return;
    }
    if (!docket.IsAnswered()) {
        throw DeviceStackError(std::string("the device stack does not answer the ") + request);
    }
    throw DeviceStackError(std::string("the device stack refuses the ") + request + ": " + docket.ReadDeliveryError());
}

DeviceModel DeviceStackSession::ReadModel() {
    const auto device = Mapping::GetLogicalKnxDeviceObjModelId(logicalDevice_);
    const auto docket = messenger_->Request(R"({"command":"GetObjectModel","id":)" + std::to_string(device) + "}", {});
    Check(docket, "request for the object model");
    return ReadDeviceModel(docket.ReadReply(), logicalDevice_);
}

bool DeviceStackSession::SetValue(unsigned long id, const ZANVALUE& value) {
    return messenger_->SetValueAndIgnoreResponse(id, value);
}

/// The device stack works in order: its answer to a mark comes after all values before it. So at most those of two
/// marks are on their way.
void DeviceStackSession::AwaitRoom() {
    const boost::lock_guard<boost::mutex> lock(roomMutex_);
    if (++valuesSince_ < ValuesBetweenMarks) {
        return;
    }
    valuesSince_ = 0;
    const auto state = Mapping::GetAppHostAppControlStateObjModelId(logicalDevice_);
    std::exchange(mark_, messenger_->GetValue(state, true)).IsAnswered();
}

void DeviceStackSession::Drain() {
    // The device stack works in order: its answer to anything comes after all that was sent before.
    messenger_->GetValue(Mapping::GetAppHostAppControlStateObjModelId(logicalDevice_), true).IsReplyValid();
}

void DeviceStackSession::Disconnect() {
    if (!client_) {
        return;
    }
    client_->SetEventHandler(nullptr);
    messenger_.reset();
    road_.reset();
    client_.reset();
}

bool DeviceStackSession::OnValueChanged(unsigned long id, const std::string& /*text*/, const std::string& value) {
    const auto co = Mapping::GetCoNumberFromObjModelId(id, logicalDevice_);
    const bool isEvent = id == Mapping::GetAppHostAppControlEventObjModelId(logicalDevice_);
    if (!co && !isEvent) {
        return true;
    }
    try {
        auto content = ZANVALUE::Deserialize(value);
        if (co) {
            listener_->OnCoValue(*co, std::move(content));
        } else {
            listener_->OnControlEvent(content);
        }
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger_, "Cannot use the value of data point " << id << ": " << error.what());
    }
    return true;
}

bool DeviceStackSession::OnConnectionChanged(bool connected) {
    listener_->OnConnectionChanged(connected);
    return true;
}

}  // namespace LocalDevice
