#pragma once

#include <log4cplus/logger.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "AppHost.h"
#include "AppLibrary.h"
#include "DeviceStackSession.h"
#include "Supervision.h"

namespace LocalDevice {

/// The app host's process: connects an app to the device stack and runs it. One object, used on one thread, the app
/// thread.
class Program final : private DeviceStackSession::IListener {
public:
    /// `parent`: the process that the app host must not outlive. `name`: the app's, for its log lines.
    Program(AppFunctions app, const std::string& name, int logicalDevice, pid_t parent);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Returns the process's exit code.
    int Run();

private:
    /// Runs when the app ends the process with `exit`, on whatever thread: reports the end, and spares the process the
    /// destructors of static objects, which must not run while other threads live.
    static void OnExit();

    void OnCoValue(std::uint16_t co, Zandrel::ZANVALUE value) override;
    void OnControlEvent(const Zandrel::ZANVALUE& value) override;
    void OnConnectionChanged(bool connected) override;

    static std::atomic<Program*> running_;  ///< the object whose app runs

    const log4cplus::Logger logger_;
    DeviceStackSession session_;
    AppHost host_;
    Supervision supervision_;
};

}  // namespace LocalDevice
