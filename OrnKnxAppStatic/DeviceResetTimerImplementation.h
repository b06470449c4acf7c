#pragma once

#include <boost/asio/error.hpp>
#include <boost/thread/lock_guard.hpp>
#include <utility>

#include "ContainExceptions.h"
#include "DeviceResetTimer.h"

namespace Zandrel {

template <typename SteadyClock>
BasicDeviceResetTimer<SteadyClock>::BasicDeviceResetTimer(boost::asio::io_service& service, PrefixedLogger log,
                                                          Actions actions)
    : log_(std::move(log)), actions_(std::move(actions)), timer_(service) {}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::Open() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    open_ = true;
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::Close() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    open_ = false;
    Cancel();
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::StartDeviceResetTimer() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    Arm();
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::StartDeviceResetTimer(const ThreadControl& control) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (control.running) {
        Arm();
    }
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::Arm() {
    if (!open_) {
        return;
    }
    ORN_LOG_AS("StartDeviceResetTimer", log_, DEBUG, "DeviceResetTimer started.");
    const auto expiry = SteadyClock::now() + Durations::DeviceReset;
    Cancel();
    timer_.expires_at(expiry);
    timer_.async_wait(
        [this, generation = ++generation_](const boost::system::error_code& error) { OnExpiry(error, generation); });
    armed_ = true;
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::Cancel() {
    if (armed_) {
        timer_.cancel();
        armed_ = false;
    }
}

template <typename SteadyClock>
void BasicDeviceResetTimer<SteadyClock>::OnExpiry(const boost::system::error_code& error, std::uint64_t generation) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const bool stale = !armed_ || generation != generation_;
    if (error == boost::asio::error::operation_aborted || (!error && stale)) {
        ORN_LOG(log_, DEBUG, "DeviceResetTimer stopped.");
        return;
    }
    if (error) {
        return;
    }
    armed_ = false;
    // Whatever becomes of this restart, the watchdog goes on.
    ContainExceptions(log_, "OnExpiry", [this] {
        if (actions_.isInAppDebugMode()) {
            ORN_LOG_AS("OnExpiry", log_, INFO, "IPC restart suppressed: AppHost debugging mode active!");
        } else {
            ORN_LOG_AS("OnExpiry", log_, FATAL, "DeviceResetTimer expired (60 seconds)... resetting device!");
            actions_.restart();
        }
        return true;
    });
    Arm();
}

}  // namespace Zandrel
