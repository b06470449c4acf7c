#pragma once

#include <boost/thread/mutex.hpp>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Output/HostEvents.h"

namespace LocalDevice {

/// Remembers what the plug-in's log said of errors since the run state became unknown, which begins a cycle, for who
/// comes later. Thread-safe.
class LastErrors {
public:
    /// `events` must outlive the object.
    explicit LastErrors(HostEvents& events);
    ~LastErrors() = default;
    LastErrors(const LastErrors&) = delete;
    LastErrors& operator=(const LastErrors&) = delete;

    /// The first error, which is the cause as a rule, and the last three, compact, the oldest first.
    std::vector<std::string> Get() const;

private:
    void OnEvent(const HostEvent& event);

    mutable boost::mutex mutex_;
    std::deque<std::string> lines_;

    const std::unique_ptr<HostEvents::Subscription> subscription_;  ///< last: it calls `OnEvent`
};

}  // namespace LocalDevice
