#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppControlWatcher.h"
#include "Console.h"
#include "DeathRecord.h"
#include "DemoScript.h"
#include "DeviceDescription.h"
#include "HostedDevice.h"
#include "Installation.h"
#include "LauncherGraces.h"
#include "Options.h"
#include "RunDirectory.h"
#include "SupervisedProcess.h"
#include "SupervisorServer.h"

namespace LocalDevice {

/// Starts the programs of a local device and keeps them running, restarts the device when it asks for that, drives its
/// RUN LED, plays the demo, and ends everything in order.
///
/// The device is powered on or off as a whole: first the device stack, then the KNX stack hosts, and the other way
/// round.
class Launcher {
public:
    /// `options` names the files of the descriptions. Reads them and the demos, and makes the folder. Throws
    /// `std::runtime_error`, one line, for bad input.
    Launcher(const Options& options, const Installation& installation, Console& console,
             const LauncherGraces& graces = {});
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;

    /// Returns when everything has ended: an empty text, or what went wrong, one line.
    std::string Run();

private:
    enum class Goal { Run, Restart, Exit };

    void AwaitSignal();
    void OnSignal(int signal);
    void OnRequest(const SupervisorRequest& request, pid_t peer);
    void TellDebugCommands(const HostedDevice& device);
    void OnAppControl(int logicalDevice, AppControlWatcher::Point point, std::optional<int> value);
    void OnDeviceStackOutput(const std::string& line);
    void OnEnded(SupervisedProcess& process, const ProcessEnd& end);
    void OnEndedWithoutOrder(const SupervisedProcess& process, const std::string& how);
    void SetRunLed(bool on);

    void PowerOn();
    void PowerOff(Goal goal);
    void ContinuePowerOff();
    void StartHosts();
    void Fail(const std::string& problem);
    void NoteFailure(const std::string& problem);

    void AddDevice(const std::string& file);
    void PlayDemos();
    void PlayNextDemo();
    void OnDemoEnded(const std::string& failure);
    void OnError(const HostedDevice& device);
    void OnAppFailed(const HostedDevice& device);
    void OnNotRunning();

    std::string NameOf(pid_t peer) const;
    LaunchCommand DeviceStackCommand() const;
    LaunchCommand HostCommand(const HostedDevice& device) const;
    std::string DeviceStackAddress() const { return "127.0.0.1:" + std::to_string(port_); }

    const Options options_;
    const Installation& installation_;
    Console& console_;
    const LauncherGraces graces_;
    RunDirectory directory_;

    boost::asio::io_context io_{1};
    boost::asio::signal_set signals_;
    std::unique_ptr<SupervisorServer> supervisor_;
    std::unique_ptr<AppControlWatcher> watcher_;
    std::unique_ptr<SupervisedProcess> deviceStack_;  ///< null when somebody else starts it
    std::vector<std::unique_ptr<HostedDevice>> devices_;
    std::vector<DemoScript> demos_;  ///< by device; empty where none is to be played
    std::size_t playedDemos_ = 0;
    boost::asio::steady_timer demoDeadline_;
    boost::asio::steady_timer appErrorTimer_;
    DeathRecord deaths_;

    std::uint16_t port_;
    Goal goal_ = Goal::Run;
    bool hostsStarted_ = false;
    bool isRunLedOn_ = false;
    bool isKilled_ = false;  ///< every process, by a signal while they were ending
    std::string failure_;
};

}  // namespace LocalDevice
