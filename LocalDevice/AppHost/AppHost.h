#pragma once

#include <log4cplus/logger.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>

#include "AppInterface.h"
#include "AppLibrary.h"
#include "CoValues.h"
#include "DeviceModel.h"
#include "EventLoop.h"
#include "IDeviceStack.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// Runs one app from its start to its end and reports its run state and its heartbeats.
///
/// `Run` is called once; its thread becomes the app thread. The heartbeat is a timer of the loop that the app lives in,
/// so an app that hangs has none; nor has one that lives elsewhere and says that it hangs there. All other functions
/// may be called from any thread at any time.
class AppHost {
public:
    /// What `Run` returns.
    static constexpr int Success = 0;
    static constexpr int Failure = 1;

    /// The watchdog of the other side waits for 60 s.
    static constexpr EventLoop::Milliseconds HeartbeatPeriod{20000};

    /// `deviceStack` outlives the object. `appLogger` takes the app's own lines, `logger` those about the app.
    AppHost(AppFunctions app, int logicalDevice, IDeviceStack& deviceStack, log4cplus::Logger logger,
            log4cplus::Logger appLogger, EventLoop::Milliseconds heartbeatPeriod = HeartbeatPeriod);
    AppHost(const AppHost&) = delete;
    AppHost& operator=(const AppHost&) = delete;
    ~AppHost() = default;

    /// Returns `Failure` when the app did not start, gave up or threw, or where `RequestStop` was given it.
    int Run(DeviceModel model);

    /// Lets `Run` stop the app and return.
    void RequestStop(int exitCode);

    /// Reports the run state "Stopped", for a process that ends without a return of `Run`.
    void ReportStopped() { SendRunState(RunState::Stopped); }

    /// The device stack reports a value of a CO.
    void OnCoValue(std::uint16_t co, Zandrel::ZANVALUE value);
    /// The device stack reports a value of the control event object.
    void OnControlEvent(const Zandrel::ZANVALUE& value);
    /// The connection to the device stack is back.
    void OnReconnected();

private:
    enum class RunState : std::int64_t { Stopped = 0, Starting = 1, Running = 2, Stopping = 3 };

    bool Start();
    void Stop();
    void LiveUntilStopped();
    /// Calls `call`, a call of the app, and returns true. One that throws ends the app; false.
    bool Try(const std::function<void()>& call);
    void Report(RunState state);
    void SendRunState(RunState state);
    /// The app says whether it can work. Any thread.
    void OnRunning(bool running);
    /// What follows from it, on the app thread.
    void OnCannotWork();
    /// The app says whether it goes on. Any thread.
    void OnAlive(bool alive);
    /// Reports "Running" where the app can work.
    void UpdateRunState();
    /// The regular one, where it is due.
    void SendHeartbeat();
    void WriteHeartbeat();

    const AppFunctions app_;
    const int logicalDevice_;
    IDeviceStack& deviceStack_;
    const log4cplus::Logger logger_;
    const log4cplus::Logger appLogger_;
    const EventLoop::Milliseconds heartbeatPeriod_;

    std::atomic<bool> stopRequested_{false};
    std::atomic<int> exitCode_{Success};
    std::atomic<bool> canWork_{true};
    std::atomic<bool> isAlive_{true};
    std::atomic<bool> hasInterface_{false};
    std::atomic<int> unexamined_{0};  ///< what the app thread has not looked at yet of what concerns values
    EventLoop loop_;

    // Of the app thread.
    std::optional<AppInterface> interface_;
    void* appContext_ = nullptr;
    RunState state_ = RunState::Stopped;
    bool isStarting_ = false;  ///< in the app's start
};

}  // namespace LocalDevice
