#pragma once

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/system/error_code.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>

#include "Orn/Durations.h"
#include "Orn/ThreadControl.h"
#include "PrefixedLogger.h"

namespace Zandrel {

/// The watchdog on the app host: asks for a restart of the device when nobody has re-armed it for 60 s.
///
/// Thread-safe. It is closed at first and refuses to be armed; each init cycle opens it, a restart and the exit close
/// it. Once `Close` has returned no restart is asked for until it is open and has been armed again. The event loop must
/// have ended before the object is destroyed. `SteadyClock` is a clock as asio's timers take it.
template <typename SteadyClock>
class BasicDeviceResetTimer {
public:
    /// What an expiry does. Called on the thread of the event loop, under the timer's mutex: must not call back.
    struct Actions {
        std::function<bool()> isInAppDebugMode;  ///< true suppresses the restart
        std::function<void()> restart;
    };

    BasicDeviceResetTimer(boost::asio::io_service& service, PrefixedLogger log, Actions actions);

    void Open();
    /// Cancels a pending wait.
    void Close();

    /// Arms the timer, in place of a pending wait.
    void StartDeviceResetTimer();
    /// The same for an init cycle, unless it was told to stop: it must not arm the next cycle's timer.
    void StartDeviceResetTimer(const ThreadControl& control);

private:
    void Arm();     ///< needs the mutex
    void Cancel();  ///< needs the mutex
    void OnExpiry(const boost::system::error_code& error, std::uint64_t generation);

    const PrefixedLogger log_;
    const Actions actions_;

    boost::mutex mutex_;  ///< guards what follows
    boost::asio::basic_waitable_timer<SteadyClock> timer_;
    bool open_ = false;
    bool armed_ = false;
    /// Number of the pending wait: asio may report the success of a wait that was cancelled in the meantime.
    std::uint64_t generation_ = 0;
};

using DeviceResetTimer = BasicDeviceResetTimer<boost::chrono::steady_clock>;

}  // namespace Zandrel
