#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "DeviceStackConnection.h"
#include "Ostra/IDeviceStackClient.h"

namespace Program {

/// A device-stack client before another one: notes and reports what is called, and can keep a request to itself.
/// Thread-safe, but for the hooks, which are set while nobody calls.
class HookedClient final : public Ostra::IDeviceStackClient {
public:
    explicit HookedClient(Ostra::IDeviceStackClient& client) : client_(client) {
        calls_.reserve(100'000);  // a note takes no memory
    }

    /// Hands out this client itself.
    Zandrel::ClientFactory GetFactory() {
        return {[this](const std::string&) { return this; },
                [this](Ostra::IDeviceStackClient*) {
                    Note("release");
                    onRelease();
                }};
    }

    /// The next request that contains `text` is neither sent nor answered before `AnswerHeld`.
    void Hold(std::string text) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        textToHold_ = std::move(text);
    }
    /// False when no request is held within 10 s.
    bool WaitUntilHeld() {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return changed_.wait_for(lock, boost::chrono::seconds(10), [this] { return !held_.empty(); });
    }
    void AnswerHeld() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (responseHandler_ != nullptr) {
            responseHandler_->OnResponse(std::stoul(held_.substr(held_.find(':') + 1)), true, R"({"response":{}})");
        }
        held_.clear();
    }

    /// What was called, in order, but for requests.
    std::vector<std::string> GetCalls() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return {calls_.begin(), calls_.end()};
    }

    void SetEventHandler(IEventHandler* handler) override {
        Note(handler == nullptr ? "drop event handler" : "set event handler");
        client_.SetEventHandler(handler);
    }
    void SetResponseHandler(IResponseHandler* handler) override {
        Note(handler == nullptr ? "unset response handler" : "set response handler");
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            responseHandler_ = handler;
        }
        if (handler != nullptr) {
            onSetResponseHandler();
        }
        client_.SetResponseHandler(handler);
    }
    bool Send(const std::string& json) override {
        onSend(json);
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (!textToHold_.empty() && json.find(textToHold_) != std::string::npos) {
                textToHold_.clear();
                held_ = json;
                changed_.notify_all();
                return true;
            }
        }
        return client_.Send(json);
    }
    void SendAtEveryConnect(const std::string& json) override { client_.SendAtEveryConnect(json); }

    /// Called on the thread that sends, before it does.
    std::function<void(const std::string& json)> onSend = [](const std::string&) {};
    std::function<void()> onSetResponseHandler = [] {};
    std::function<void()> onRelease = [] {};

private:
    void Note(const char* call) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        calls_.push_back(call);
    }

    Ostra::IDeviceStackClient& client_;

    mutable boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable changed_;
    std::vector<const char*> calls_;
    std::string textToHold_;
    std::string held_;
    IResponseHandler* responseHandler_ = nullptr;
};

}  // namespace Program
