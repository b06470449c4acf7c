#include "DeviceStackClient.h"

#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/thread/lock_guard.hpp>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "Zandrel/Logging.h"

namespace Ostra {
namespace {

using boost::system::error_code;

constexpr std::chrono::seconds ConnectTimeout{1};
constexpr std::chrono::milliseconds CloseTimeout{500};
constexpr std::chrono::milliseconds ShortestPause{100};
constexpr std::chrono::milliseconds LongestPause{5000};

/// The beginning of a frame in quotes, as ASCII, for a log line.
std::string Excerpt(const std::string& frame) {
    constexpr std::size_t Longest = 200;
    return nlohmann::json(frame.substr(0, Longest)).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

}  // namespace

DeviceStackClient::DeviceStackClient(Endpoints endpoints)
    : endpoints_(std::move(endpoints)), reconnectPause_(ShortestPause) {}

DeviceStackClient::~DeviceStackClient() {
    events_.SetHandler(nullptr);
    answers_.SetHandler(nullptr);
    threads_.Post([this] {
        releasing_ = true;
        reconnectTimer_.cancel();
        if (link_) {
            link_->Close(CloseTimeout);
        }
    });
    threads_.Join();
}

error_code DeviceStackClient::Connect(std::chrono::steady_clock::duration timeout) {
    firstError_ = boost::asio::error::timed_out;
    StartLink(timeout);
    while (!everConnected_ && context_.run_one() > 0) {
    }
    if (!everConnected_) {
        return firstError_;
    }
    threads_.Start();
    return {};
}

void DeviceStackClient::SetEventHandler(IEventHandler* handler) {
    events_.SetHandler(handler);
}

void DeviceStackClient::SetResponseHandler(IResponseHandler* handler) {
    answers_.SetHandler(handler);
}

bool DeviceStackClient::Send(const std::string& json) {
    std::shared_ptr<DeviceStackLink> link;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        link = link_;
    }
    return link && link->Send(json);
}

void DeviceStackClient::SendAtEveryConnect(const std::string& json) {
    auto request = nlohmann::ordered_json::parse(json, nullptr, false);
    if (!request.is_object()) {
        LOG4CPLUS_WARN(Zandrel::GetGlobalDefaultLogger(),
                       "A request for every connect is not a JSON object: " << Excerpt(json));
        return;
    }
    request.erase("request");
    std::string frame = request.dump();
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (std::find(session_.begin(), session_.end(), frame) == session_.end()) {
        session_.push_back(std::move(frame));
    }
}

void DeviceStackClient::StartLink(std::chrono::steady_clock::duration timeout) {
    auto link = std::make_shared<DeviceStackLink>(context_, static_cast<DeviceStackLink::Owner&>(*this));
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        link_ = link;
    }
    link->Connect(endpoints_, timeout);
}

void DeviceStackClient::Post(std::function<void()> work) {
    threads_.Post(std::move(work));
}

void DeviceStackClient::OnLinkConnected() {
    reconnectPause_ = ShortestPause;
    const bool again = std::exchange(everConnected_, true);
    connected_ = true;
    {
        // Under the lock: a request for every connect is either in the session now or sent by its caller afterwards.
        const boost::lock_guard<boost::mutex> lock(mutex_);
        link_->Open(session_);
    }
    if (again) {
        LOG4CPLUS_INFO(Zandrel::GetGlobalDefaultLogger(), "Connected to device stack again.");
        events_.Post([](IEventHandler& handler) { handler.OnConnectionChanged(true); });
    }
}

void DeviceStackClient::OnLinkFrame(const std::string& text) {
    auto frame = ParseDeviceStackFrame(text);
    if (!frame) {
        LOG4CPLUS_WARN(Zandrel::GetGlobalDefaultLogger(), "Frame of device stack not understood: " << Excerpt(text));
        return;
    }
    std::visit([this](auto& content) { Deliver(std::move(content)); }, *frame);
}

void DeviceStackClient::Deliver(AnswerFrame&& answer) {
    answers_.Post([answer = std::move(answer)](IResponseHandler& handler) {
        handler.OnResponse(answer.requestNumber, answer.accepted, answer.text);
    });
}

void DeviceStackClient::Deliver(ValueChangedFrame&& change) {
    events_.Post([change = std::move(change)](IEventHandler& handler) {
        handler.OnValueChanged(change.id, change.kind, change.value);
    });
}

void DeviceStackClient::Deliver(ConfigurationChangedFrame&& change) {
    events_.Post([id = change.id](IEventHandler& handler) { handler.OnConfigurationChanged(id); });
}

void DeviceStackClient::Deliver(EventEmittedFrame&& event) {
    events_.Post([event = std::move(event)](IEventHandler& handler) { handler.OnEventEmitted(event.eventType); });
}

void DeviceStackClient::Deliver(ComplaintFrame&& complaint) {
    LOG4CPLUS_WARN(Zandrel::GetGlobalDefaultLogger(),
                   "The device stack did not understand a request: " << Excerpt(complaint.text));
}

void DeviceStackClient::OnLinkEnded(const error_code& reason) {
    if (releasing_) {
        return;
    }
    if (!everConnected_) {
        firstError_ = reason;
        return;
    }
    if (std::exchange(connected_, false)) {
        LOG4CPLUS_WARN(Zandrel::GetGlobalDefaultLogger(), "Connection to device stack lost: " << reason.message());
        answers_.Post([](IResponseHandler& handler) { handler.OnConnectionLost(); });
        events_.Post([](IEventHandler& handler) { handler.OnConnectionChanged(false); });
    }
    ReconnectAfterPause();
}

void DeviceStackClient::ReconnectAfterPause() {
    reconnectTimer_.expires_after(reconnectPause_);
    reconnectPause_ = std::min(2 * reconnectPause_, LongestPause);
    reconnectTimer_.async_wait([this](const error_code& error) {
        if (!error && !releasing_) {
            StartLink(ConnectTimeout);
        }
    });
}

}  // namespace Ostra
