#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <memory>
#include <vector>

#include "Output/HostEvents.h"

/// Keeps what a host publishes, and waits for it. Thread-safe.
class EventRecorder {
public:
    explicit EventRecorder(LocalDevice::HostEvents& events)
        : subscription_(events.Subscribe([this](const LocalDevice::HostEvent& event) { Add(event); })) {}

    /// The events of one kind so far.
    template <typename Body>
    std::vector<Body> Get() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return Select<Body>();
    }

    /// The events of one kind, as soon as there are `count` of them; after a long time those that are there.
    template <typename Body>
    std::vector<Body> WaitFor(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(10), [&] { return Select<Body>().size() >= count; });
        return Select<Body>();
    }

private:
    void Add(const LocalDevice::HostEvent& event) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        events_.push_back(event);
        changed_.notify_all();
    }

    template <typename Body>
    std::vector<Body> Select() const {
        std::vector<Body> selected;
        for (const auto& event : events_) {
            if (const auto* const body = std::get_if<Body>(&event.body)) {
                selected.push_back(*body);
            }
        }
        return selected;
    }

    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::vector<LocalDevice::HostEvent> events_;

    const std::unique_ptr<LocalDevice::HostEvents::Subscription> subscription_;  ///< last: it calls `Add`
};
