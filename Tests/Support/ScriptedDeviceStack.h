#pragma once

#include <boost/asio/thread_pool.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "DeviceStackConnection.h"
#include "Ostra/IDeviceStackClient.h"

namespace TestSupport {

/// Time-outs for a test in which requests stay unanswered: short, and still enough for an answer on a busy machine.
Zandrel::ConnectionTimes ShortConnectionTimes();

/// A device stack that does as it is told: the client below a `DeviceStackConnection` and its real messenger.
///
/// It accepts every request with an empty response unless it was told otherwise. Handlers are called on a thread of its
/// own, but for `Report` and `LoseConnection`, which call them themselves. Outlives the connections that use it.
/// Thread-safe.
class ScriptedDeviceStack final : public Ostra::IDeviceStackClient {
public:
    ScriptedDeviceStack();
    ~ScriptedDeviceStack() override;
    ScriptedDeviceStack(const ScriptedDeviceStack&) = delete;
    ScriptedDeviceStack& operator=(const ScriptedDeviceStack&) = delete;

    /// Hands out this device stack itself.
    Zandrel::ClientFactory GetFactory();

    // What happens to requests that contain `text`, from now on; of several that fit, the latest counts.

    /// Accepted; `response` is JSON.
    void Accept(const std::string& text, const std::string& response = "{}");
    /// Accepted; the whole answer is `answer`, whatever that is.
    void Answer(const std::string& text, const std::string& answer);
    void Refuse(const std::string& text, const std::string& error);
    /// Never answered.
    void Ignore(const std::string& text);
    /// Not answered before `AnswerHeld`.
    void Hold(const std::string& text);
    /// Not answered: the connection is lost, and stays so until `Reconnect`.
    void LoseConnectionAt(const std::string& text);
    /// Whatever else happens to it, `action` runs first, on the handlers' thread.
    void RunBefore(const std::string& text, std::function<void()> action);

    /// Answers what is held, as if it had not been; from now on nothing is held any more.
    void AnswerHeld();
    /// The connection is lost now, with whatever is held, and stays so until `Reconnect`.
    void LoseConnection();
    void Reconnect();
    /// Waits until all handlers have been called for what was sent until now.
    void WaitForHandlers();
    /// The value of data point `id` has changed. Without an event handler nobody learns of it.
    void Report(unsigned long id, const std::string& value);

    /// What was sent, without the members "request".
    std::vector<std::string> GetRequests() const;
    /// The same, and forgets it.
    std::vector<std::string> TakeRequests();
    /// The documents among them: what follows "configuration".
    std::vector<std::string> GetDocuments() const;
    /// Waits until a request that contains `text` was sent. False when none was within 10 s.
    bool WaitForRequest(const std::string& text) const;

    IEventHandler* GetEventHandler() const;

    void SetEventHandler(IEventHandler* handler) override;
    void SetResponseHandler(IResponseHandler* handler) override;
    bool Send(const std::string& json) override;
    /// Does nothing: a connection that comes back starts no session.
    void SendAtEveryConnect(const std::string& json) override;

private:
    enum class Treatment { Accept, Answer, Refuse, Ignore, Hold, LoseConnection };
    struct Rule {
        std::string text;
        Treatment treatment;
        std::string content;  ///< the response, the whole answer or the error
    };

    struct HeldRequest {
        unsigned long number;
        std::string text;
        Rule rule;
    };

    void Add(Rule rule);
    Rule FindRule(const std::string& request) const;
    std::vector<std::function<void()>> FindActions(const std::string& request) const;
    /// The held requests, each with the rule that counts now.
    std::vector<HeldRequest> TakeHeld();
    void React(unsigned long number, const std::string& request, const Rule& rule);
    bool WasSent(const std::string& text) const;

    mutable boost::mutex mutex_;  ///< guards what follows
    mutable boost::condition_variable sent_;
    bool connected_ = true;
    std::vector<Rule> rules_;
    std::vector<std::pair<std::string, std::function<void()>>> actions_;
    std::vector<std::string> requests_;
    std::vector<HeldRequest> held_;

    mutable boost::recursive_mutex handlerMutex_;  ///< guards what follows; held while a handler is called
    IEventHandler* eventHandler_ = nullptr;
    IResponseHandler* responseHandler_ = nullptr;

    boost::asio::thread_pool worker_{1};  ///< last: its thread uses all of the above
};

}  // namespace TestSupport
