#include "ScriptedDeviceStack.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/chrono/duration.hpp>
#include <boost/thread/latch.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <string_view>
#include <utility>

namespace TestSupport {

namespace {

constexpr std::string_view NumberStart = R"({"request":)";
constexpr std::string_view DocumentStart = R"({"command":"SetConfiguration","configuration":)";

struct Request {
    unsigned long number;  ///< 0: wants no answer
    std::string text;      ///< without the number
};

Request Parse(const std::string& json) {
    if (json.compare(0, NumberStart.size(), NumberStart) != 0) {
        return {0, json};
    }
    const auto comma = json.find(',');
    return {std::stoul(json.substr(NumberStart.size())), "{" + json.substr(comma + 1)};
}

bool Contains(const std::string& whole, const std::string& part) {
    return whole.find(part) != std::string::npos;
}

}  // namespace

Zandrel::ConnectionTimes ShortConnectionTimes() {
    constexpr boost::chrono::milliseconds RequestTimeout{500};
    return {RequestTimeout, RequestTimeout, Zandrel::Durations::ConnectionRetryPause};
}

ScriptedDeviceStack::ScriptedDeviceStack() = default;

ScriptedDeviceStack::~ScriptedDeviceStack() {
    worker_.join();
}

Zandrel::ClientFactory ScriptedDeviceStack::GetFactory() {
    return {[this](const std::string&) { return this; }, [](Ostra::IDeviceStackClient*) {}};
}

void ScriptedDeviceStack::Accept(const std::string& text, const std::string& response) {
    Add({text, Treatment::Accept, response});
}

void ScriptedDeviceStack::Answer(const std::string& text, const std::string& answer) {
    Add({text, Treatment::Answer, answer});
}

void ScriptedDeviceStack::Refuse(const std::string& text, const std::string& error) {
    Add({text, Treatment::Refuse, error});
}

void ScriptedDeviceStack::Ignore(const std::string& text) {
    Add({text, Treatment::Ignore, ""});
}

void ScriptedDeviceStack::Hold(const std::string& text) {
    Add({text, Treatment::Hold, ""});
}

void ScriptedDeviceStack::LoseConnectionAt(const std::string& text) {
    Add({text, Treatment::LoseConnection, ""});
}

void ScriptedDeviceStack::RunBefore(const std::string& text, std::function<void()> action) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    actions_.emplace_back(text, std::move(action));
}

void ScriptedDeviceStack::Add(Rule rule) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    rules_.push_back(std::move(rule));
}

void ScriptedDeviceStack::AnswerHeld() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    rules_.erase(std::remove_if(rules_.begin(), rules_.end(),
                                [](const Rule& rule) { return rule.treatment == Treatment::Hold; }),
                 rules_.end());
    boost::asio::post(worker_, [this] {
        for (const auto& [number, request, rule] : TakeHeld()) {
            React(number, request, rule);
        }
    });
}

void ScriptedDeviceStack::WaitForHandlers() {
    boost::latch done(1);
    boost::asio::post(worker_, [&done] { done.count_down(); });
    done.wait();
}

void ScriptedDeviceStack::Report(unsigned long id, const std::string& value) {
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    if (eventHandler_ != nullptr) {
        eventHandler_->OnValueChanged(id, "valueChanged", value);
    }
}

void ScriptedDeviceStack::Reconnect() {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        connected_ = true;
    }
    boost::asio::post(worker_, [this] {
        const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
        if (eventHandler_ != nullptr) {
            eventHandler_->OnConnectionChanged(true);
        }
    });
}

std::vector<std::string> ScriptedDeviceStack::GetRequests() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return requests_;
}

std::vector<std::string> ScriptedDeviceStack::TakeRequests() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return std::exchange(requests_, {});
}

std::vector<std::string> ScriptedDeviceStack::GetDocuments() const {
    std::vector<std::string> documents;
    for (const std::string& request : GetRequests()) {
        if (request.compare(0, DocumentStart.size(), DocumentStart) == 0) {
            documents.push_back(request.substr(DocumentStart.size(), request.size() - DocumentStart.size() - 1));
        }
    }
    return documents;
}

bool ScriptedDeviceStack::WaitForRequest(const std::string& text) const {
    boost::unique_lock<boost::mutex> lock(mutex_);
    return sent_.wait_for(lock, boost::chrono::seconds(10), [this, &text] { return WasSent(text); });
}

bool ScriptedDeviceStack::WasSent(const std::string& text) const {
    return std::any_of(requests_.begin(), requests_.end(),
                       [&text](const std::string& request) { return Contains(request, text); });
}

Ostra::IDeviceStackClient::IEventHandler* ScriptedDeviceStack::GetEventHandler() const {
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    return eventHandler_;
}

void ScriptedDeviceStack::SetEventHandler(IEventHandler* handler) {
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    eventHandler_ = handler;
}

void ScriptedDeviceStack::SetResponseHandler(IResponseHandler* handler) {
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    responseHandler_ = handler;
}

bool ScriptedDeviceStack::Send(const std::string& json) {
    const Request request = Parse(json);
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!connected_) {
        return false;
    }
    requests_.push_back(request.text);
    sent_.notify_all();
    boost::asio::post(worker_, [this, request, actions = FindActions(request.text), rule = FindRule(request.text)] {
        for (const auto& action : actions) {
            action();
        }
        React(request.number, request.text, rule);
    });
    return true;
}

void ScriptedDeviceStack::SendAtEveryConnect(const std::string&) {}

ScriptedDeviceStack::Rule ScriptedDeviceStack::FindRule(const std::string& request) const {
    const auto rule = std::find_if(rules_.rbegin(), rules_.rend(),
                                   [&request](const Rule& each) { return Contains(request, each.text); });
    return rule == rules_.rend() ? Rule{"", Treatment::Accept, "{}"} : *rule;
}

std::vector<std::function<void()>> ScriptedDeviceStack::FindActions(const std::string& request) const {
    std::vector<std::function<void()>> actions;
    for (const auto& [text, action] : actions_) {
        if (Contains(request, text)) {
            actions.push_back(action);
        }
    }
    return actions;
}

std::vector<ScriptedDeviceStack::HeldRequest> ScriptedDeviceStack::TakeHeld() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    std::vector<HeldRequest> held = std::exchange(held_, {});
    for (HeldRequest& request : held) {
        request.rule = FindRule(request.text);
    }
    return held;
}

void ScriptedDeviceStack::React(unsigned long number, const std::string& request, const Rule& rule) {
    if (rule.treatment == Treatment::LoseConnection) {
        LoseConnection();
        return;
    }
    if (rule.treatment == Treatment::Hold) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        held_.push_back({number, request, rule});
        return;
    }
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    if (number == 0 || rule.treatment == Treatment::Ignore || responseHandler_ == nullptr) {
        return;
    }
    const bool accepted = rule.treatment != Treatment::Refuse;
    const std::string answer = rule.treatment == Treatment::Accept
                                   ? R"({"request":)" + std::to_string(number) + R"(,"response":)" + rule.content + "}"
                                   : rule.content;
    responseHandler_->OnResponse(number, accepted, answer);
}

void ScriptedDeviceStack::LoseConnection() {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        connected_ = false;
        held_.clear();
    }
    const boost::lock_guard<boost::recursive_mutex> lock(handlerMutex_);
    if (responseHandler_ != nullptr) {
        responseHandler_->OnConnectionLost();
    }
    if (eventHandler_ != nullptr) {
        eventHandler_->OnConnectionChanged(false);
    }
}

}  // namespace TestSupport
