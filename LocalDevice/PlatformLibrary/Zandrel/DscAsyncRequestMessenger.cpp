#include "Zandrel/DscAsyncRequestMessenger.h"

#include <algorithm>
#include <atomic>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <variant>

#include "PendingRequests.h"
#include "WireText.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace Zandrel {
namespace {

using boost::posix_time::time_duration;
using Ostra::IDeviceStackClient;

/// The parts of a request's text that follow its opening brace, the closing one included.
using Parts = std::initializer_list<std::string_view>;

constexpr std::string_view Blanks = " \t\r\n";

/// No request needs longer, and no longer one can overflow the clock.
constexpr boost::chrono::hours LongestTimeout{24};

std::string Join(std::string_view head, Parts parts) {
    std::size_t size = head.size();
    for (const auto part : parts) {
        size += part.size();
    }
    std::string text;
    text.reserve(size);
    text.append(head);
    for (const auto part : parts) {
        text.append(part);
    }
    return text;
}

/// What follows the opening brace of a JSON object; none where `json` does not begin with one.
std::optional<std::string_view> AfterOpeningBrace(std::string_view json) {
    const std::size_t begin = json.find_first_not_of(Blanks);
    if (begin == std::string_view::npos || json[begin] != '{') {
        return std::nullopt;
    }
    return json.substr(begin + 1);
}

bool HasMembers(std::string_view afterBrace) {
    const std::size_t next = afterBrace.find_first_not_of(Blanks);
    return next != std::string_view::npos && afterBrace[next] != '}';
}

std::optional<std::string> ReadValueOfAnswer(const std::string& answer) {
    const auto json = nlohmann::json::parse(answer, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto response = json.find("response");
    return response != json.end() && response->is_object() ? ReadValueMembers(*response) : std::nullopt;
}

std::string_view GetPropertyName(IDeviceStackClient::PropertyType type) {
    switch (type) {
        case IDeviceStackClient::PropertyType::Name:
            return "name";
        case IDeviceStackClient::PropertyType::Enabled:
            return "enabled";
        case IDeviceStackClient::PropertyType::Visible:
            break;
    }
    return "visible";
}

std::string GetPropertiesJson(
    const std::map<IDeviceStackClient::PropertyType, IDeviceStackClient::Property>& properties) {
    std::string json = "{";
    for (const auto& [type, property] : properties) {
        json.append(json.size() > 1 ? ",\"" : "\"").append(GetPropertyName(type)).append("\":");
        if (const auto* const flag = std::get_if<bool>(&property)) {
            json += *flag ? "true" : "false";
        } else {
            AppendJsonString(json, std::get<std::string>(property));
        }
    }
    return json + '}';
}

Docket FailedRequest(const std::string& error) {
    return Docket(std::make_shared<Docket::State>(error));
}

}  // namespace

class DscAsyncRequestMessenger::Implementation {
public:
    Implementation(RequestMessengerDeviceStack& road, time_duration defaultTimeout, unsigned int warnAfterTimeouts,
                   const log4cplus::Logger& logger)
        : defaultTimeout_(defaultTimeout),
          requests_(std::make_shared<PendingRequests>(warnAfterTimeouts, logger)),
          road_(&road) {}

    void Listen() {
        const boost::lock_guard<boost::mutex> lock(roadMutex_);
        listening_ = true;
        road_->SetResponseHandler(requests_.get());
    }

    void Close() {
        const boost::lock_guard<boost::mutex> lock(roadMutex_);
        if (!std::exchange(listening_, false)) {
            return;
        }
        road_->SetResponseHandler(nullptr);
        requests_->EndAll(ClosedError);
    }

    Docket Request(Parts parts, time_duration timeout = {}, PendingRequests::ReplyReader reader = nullptr) {
        const auto number = PendingRequests::NextNumber();
        const std::string json = Join("{\"request\":" + std::to_string(number) + ",", parts);

        const boost::lock_guard<boost::mutex> lock(roadMutex_);
        if (!listening_) {
            return FailedRequest(ClosedError);
        }
        Docket docket = requests_->Open(number, GetDuration(timeout), reader);
        if (!road_->Send(json)) {
            requests_->End(number, "Not connected to device stack.");
        }
        return docket;
    }

    bool SendWithoutAnswer(Parts parts) {
        const std::string json = Join("{", parts);
        const boost::lock_guard<boost::mutex> lock(roadMutex_);
        return listening_ && road_->Send(json);
    }

    void SendAtEveryConnect(Parts parts) {
        const std::string json = Join("{", parts);
        const boost::lock_guard<boost::mutex> lock(roadMutex_);
        if (listening_) {
            road_->SendAtEveryConnect(json);
        }
    }

    std::string GetSetValueMembers(unsigned long id, const ZANVALUE& value, bool isResponse) const {
        std::string members = R"("command":"SetValue","id":)" + std::to_string(id) + ',';
        AppendValueMembers(members, nativeFormat_ ? value.Serialize() : value.ToString());
        members += isResponse ? ",\"response\":true}" : "}";
        return members;
    }

    void SetNativeFormat() { nativeFormat_ = true; }

private:
    static constexpr const char* ClosedError = "Messenger closed.";

    boost::chrono::microseconds GetDuration(time_duration timeout) const {
        const time_duration wanted = timeout.ticks() == 0 ? defaultTimeout_ : timeout;
        if (wanted.is_special() || wanted.total_seconds() >= boost::chrono::seconds(LongestTimeout).count()) {
            return LongestTimeout;
        }
        return boost::chrono::microseconds(wanted.total_microseconds());
    }

    time_duration defaultTimeout_;
    std::shared_ptr<PendingRequests> requests_;

    std::atomic<bool> nativeFormat_{false};

    /// Held while the road is used: once `Close` has returned, nobody is on it.
    boost::mutex roadMutex_;
    RequestMessengerDeviceStack* road_;
    bool listening_ = false;
};

DscAsyncRequestMessenger::DscAsyncRequestMessenger(RequestMessengerDeviceStack& road, time_duration defaultTimeout,
                                                   unsigned int warnAfterTimeouts, const log4cplus::Logger& logger)
    : implementation_(std::make_shared<Implementation>(road, defaultTimeout, warnAfterTimeouts, logger)) {}

DscAsyncRequestMessenger::~DscAsyncRequestMessenger() {
    implementation_->Close();
}

void DscAsyncRequestMessenger::SetAsResponseHandler() {
    implementation_->Listen();
}

void DscAsyncRequestMessenger::UnsetAsResponseHandler() {
    implementation_->Close();
}

Docket DscAsyncRequestMessenger::RegisterApplication(const std::string& name, const std::string& type,
                                                     const std::string& domain) {
    std::string members = R"("command":"RegisterApplication","name":)";
    AppendJsonString(members, name);
    members += ",\"type\":";
    AppendJsonString(members, type);
    members += ",\"domain\":";
    AppendJsonString(members, domain);
    members += '}';
    implementation_->SendAtEveryConnect({members});
    return implementation_->Request({members});
}

bool DscAsyncRequestMessenger::EnableNativeFormat() {
    constexpr std::string_view Members = R"("command":"EnableNativeFormat"})";
    implementation_->SendAtEveryConnect({Members});
    if (!implementation_->Request({Members}).IsReplyValid()) {
        return false;
    }
    implementation_->SetNativeFormat();
    return true;
}

Docket DscAsyncRequestMessenger::Request(const std::string& json, time_duration timeout) {
    const auto members = AfterOpeningBrace(json);
    if (!members || !HasMembers(*members)) {
        return FailedRequest("The request is not a JSON object with members.");
    }
    return implementation_->Request({*members}, timeout);
}

Docket DscAsyncRequestMessenger::SetConfiguration(const std::string& document, time_duration timeout) {
    if (!AfterOpeningBrace(document)) {
        return FailedRequest("The configuration is not a JSON object.");
    }
    return implementation_->Request({R"("command":"SetConfiguration","configuration":)", document, "}"}, timeout);
}

Docket DscAsyncRequestMessenger::SetConfiguration(
    unsigned long id, const std::map<IDeviceStackClient::PropertyType, IDeviceStackClient::Property>& properties) {
    return implementation_->Request({R"("command":"SetConfiguration","id":)", std::to_string(id),
                                     ",\"properties\":", GetPropertiesJson(properties), "}"});
}

Docket DscAsyncRequestMessenger::SetValue(unsigned long id, const ZANVALUE& value, bool isResponse) {
    return implementation_->Request({implementation_->GetSetValueMembers(id, value, isResponse)});
}

bool DscAsyncRequestMessenger::SetValueAndIgnoreResponse(unsigned long id, const ZANVALUE& value, bool isResponse) {
    return implementation_->SendWithoutAnswer({implementation_->GetSetValueMembers(id, value, isResponse)});
}

Docket DscAsyncRequestMessenger::GetValue(unsigned long id, bool /*useStoredValue*/) {
    return implementation_->Request({R"("command":"GetValue","id":)", std::to_string(id), "}"}, {}, &ReadValueOfAnswer);
}

}  // namespace Zandrel
