#pragma once

#include <log4cplus/logger.h>

#include <array>
#include <boost/thread/thread_only.hpp>
#include <cstdint>
#include <functional>
#include <string>

#include "CoValues.h"
#include "DeviceModel.h"
#include "EventLoop.h"
#include "IDeviceStack.h"
#include "orn/app.h"

namespace LocalDevice {

/// What an app sees of its host: the functions of `orn_host`, and the app's handlers.
///
/// Belongs to the thread that creates it and runs the loop, the app thread, except for the functions of `orn_host` that
/// may be called from any thread.
class AppInterface {
public:
    /// Loop and device stack outlive the object. `onFailure` is called on any thread when the app gives up, `onRunning`
    /// when it says whether it can work, `onAlive` when it says whether it goes on; `logger` is where the app's own
    /// lines go.
    AppInterface(int logicalDevice, DeviceModel model, EventLoop& loop, IDeviceStack& deviceStack,
                 log4cplus::Logger logger, std::function<void()> onFailure, std::function<void(bool)> onRunning,
                 std::function<void(bool)> onAlive);
    ~AppInterface() = default;
    AppInterface(const AppInterface&) = delete;
    AppInterface& operator=(const AppInterface&) = delete;

    const orn_host* GetHost() const noexcept { return &table_; }
    bool IsAppThread() const noexcept { return boost::this_thread::get_id() == appThread_; }

    /// The device stack reports the value of a CO, which came at `arrival`. True when it is news to the app.
    bool IsNews(std::uint16_t co, const Zandrel::ZANVALUE& value, CoValues::TimePoint arrival);
    /// Whether a report is that of the app's own write, see `CoValues`. Any thread.
    bool TakeOwnReport(std::uint16_t co, const Zandrel::ZANVALUE& value, CoValues::TimePoint arrival);
    /// The app hears the value of a CO. What it throws comes out.
    void OnValue(std::uint16_t co, const Zandrel::ZANVALUE& value);
    /// Communication with the bus begins or ceases. What the app throws comes out.
    void OnCommunication(bool on);
    void OnReconnected() { cos_.ForgetWrites(); }

private:
    struct Table : orn_host {
        AppInterface* owner;
    };
    template <typename Handler>
    struct Registration {
        Handler handler = nullptr;
        void* context = nullptr;
    };

    static AppInterface& Of(const orn_host* host) noexcept { return *static_cast<const Table*>(host)->owner; }
    Table MakeTable(int logicalDevice);

    const char* GetTextOf(Zandrel::ParameterType type, std::uint16_t slot, const char* unset) const noexcept;
    orn_result GetNumberParameter(std::uint16_t slot, std::uint32_t* number) const;
    orn_result GetValue(std::uint16_t co, orn_value* value);
    orn_result SetValue(std::uint16_t co, const orn_value* value);
    orn_result SetValueHandler(std::uint16_t co, orn_value_handler handler, void* context);
    orn_result StartTimer(std::uint64_t milliseconds, bool periodic, orn_task task, void* context, orn_timer* timer);
    orn_result Post(orn_task task, void* context);
    void Log(orn_log_level level, const char* text);
    void Fail(const char* text);

    const boost::thread::id appThread_;
    const int logicalDevice_;
    const std::array<std::array<std::string, DeviceModel::ParameterSlots>, DeviceModel::ParameterKinds> parameters_;
    EventLoop& loop_;
    IDeviceStack& deviceStack_;
    const log4cplus::Logger logger_;
    const std::function<void()> onFailure_;
    const std::function<void(bool)> onRunning_;
    const std::function<void(bool)> onAlive_;
    const Table table_;

    CoValues cos_;  ///< thread-safe

    // Of the app thread.
    std::array<Registration<orn_value_handler>, ORN_MAX_CO + 1> valueHandlers_{};
    Registration<orn_communication_handler> communicationHandler_;
    std::string lastText_;  ///< of the last value that the app asked for
};

}  // namespace LocalDevice
