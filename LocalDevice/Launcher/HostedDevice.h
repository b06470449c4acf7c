#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppControlWatcher.h"
#include "Console.h"
#include "ControlClient.h"
#include "DemoSession.h"
#include "DeviceDescription.h"
#include "SupervisedProcess.h"

namespace LocalDevice {

/// One logical device: its description, its KNX stack host and what is known of its app.
///
/// For the thread that runs `io`; the handlers are called there.
class HostedDevice {
public:
    struct Handlers {
        SupervisedProcess::Handlers process;
        std::function<void()> onConnected;  ///< to the host
        /// The device cannot run: the host's run state is "error".
        std::function<void()> onError;
        std::function<void(const std::string& failure)> onDemoEnded;
    };

    /// `controlSocket`: where the host listens. `isFollowed`: hears of every event of the host, so that errors are
    /// known and a demo can be played; a host that nobody follows need not tell its telegrams twice. Everything passed
    /// by reference must outlive the device. Throws `DescriptionError`.
    HostedDevice(boost::asio::io_context& io, int logicalDevice, const std::string& file, std::string controlSocket,
                 bool isFollowed, Console& console, Handlers handlers);
    HostedDevice(const HostedDevice&) = delete;
    HostedDevice& operator=(const HostedDevice&) = delete;

    /// Such as "device 1".
    const std::string& GetName() const { return name_; }
    int GetLogicalDevice() const { return logicalDevice_; }
    const DeviceDescription& GetDescription() const { return description_; }
    const std::string& GetControlSocket() const { return controlSocket_; }
    SupervisedProcess& GetHost() { return host_; }

    /// Starts the host, and connects to it when it is up.
    void PowerOn();
    /// Asks the host to end, and kills it when it has not ended after `grace`.
    void PowerOff(std::chrono::steady_clock::duration grace);

    void SetAppControl(AppControlWatcher::Point point, std::optional<int> value);
    /// Host and app are up, and the app takes part in KNX communication.
    bool IsReady() const;
    /// Such as "run state Starting".
    std::string GetRunStateText() const;

    bool IsStarting() const { return runState_ == AppControlWatcher::Starting; }

    /// Takes in a line of the host's output, which is the app host's as well. True where it says that the app host
    /// ended before the device stack heard of it.
    bool OnOutput(const std::string& line);
    /// What the app host said last of an error; empty where it said none since power-on.
    const std::string& GetAppError() const { return appError_; }

    /// What the log of the host's plug-in said last of errors; empty where it said none since power-on.
    std::string GetLastErrors() const;

    /// Plays a demo on the device, which is followed and ready.
    void PlayDemo(DemoScript script);

private:
    void Connect();
    void OnConnected();
    void OnMessage(const nlohmann::json& message);
    void OnClosed();

    boost::asio::io_context& io_;
    Console& console_;
    const int logicalDevice_;
    const std::string name_;
    const DeviceDescription description_;
    const std::string controlSocket_;
    const bool isFollowed_;
    const Handlers handlers_;

    SupervisedProcess host_;
    std::unique_ptr<ControlClient> control_;
    std::unique_ptr<DemoSession> demo_;
    bool isConnected_ = false;
    std::vector<std::string> lastErrors_;  ///< the oldest first
    std::string appError_;
    std::optional<int> runState_;
    std::optional<int> appEvent_;
};

}  // namespace LocalDevice
