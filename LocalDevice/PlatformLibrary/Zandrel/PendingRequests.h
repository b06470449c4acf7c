#pragma once

#include <log4cplus/logger.h>

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "DocketState.h"
#include "Ostra/IDeviceStackClient.h"
#include "Zandrel/Docket.h"

namespace Zandrel {

/// The requests of one messenger that wait for an answer. Each leaves with its answer, with its time-out or with the
/// connection. Thread-safe.
class PendingRequests final : public Ostra::IDeviceStackClient::IResponseHandler,
                              public std::enable_shared_from_this<PendingRequests> {
public:
    using RequestNumber = std::uint32_t;
    using Duration = boost::chrono::microseconds;
    /// Takes what the docket shall give from a whole answer; none where the answer lacks it.
    using ReplyReader = std::optional<std::string> (*)(const std::string& answer);

    /// After `warnAfterTimeouts` time-outs in a row one WARN line; never with 0.
    PendingRequests(unsigned int warnAfterTimeouts, log4cplus::Logger logger);
    virtual ~PendingRequests() = default;
    PendingRequests(const PendingRequests&) = delete;
    PendingRequests& operator=(const PendingRequests&) = delete;

    /// A number that no request under way has, not even an earlier messenger's: its answer could still come.
    static RequestNumber NextNumber() noexcept;

    /// Expects an answer within `timeout` from now.
    Docket Open(RequestNumber number, Duration timeout, ReplyReader reader);
    /// Ends one request, or all of them, with an error.
    void End(RequestNumber number, const std::string& error);
    void EndAll(const std::string& error);

    void OnResponse(unsigned long requestNumber, bool accepted, const std::string& text) override;
    void OnConnectionLost() override;

private:
    using TimePoint = Docket::State::Clock::time_point;
    struct Entry {
        std::shared_ptr<Docket::State> state;
        ReplyReader reader;
        TimePoint deadline;
    };

    std::optional<Entry> Extract(unsigned long number);
    void OnTimedOut(RequestNumber number);
    void CountTimeout();
    /// Ends the requests whose deadline has passed: nobody may ask for their dockets any more.
    void ExpireLocked(TimePoint now);

    unsigned int warnAfterTimeouts_;
    log4cplus::Logger logger_;

    std::atomic<unsigned int> timeoutsInARow_{0};

    boost::mutex mutex_;
    std::unordered_map<unsigned long, Entry> entries_;
    std::set<std::pair<TimePoint, unsigned long>> deadlines_;  ///< of all entries, the next one first
};

}  // namespace Zandrel
