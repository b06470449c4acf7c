#include "Launcher.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/replace.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <csignal>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "JsonFile.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

constexpr std::chrono::seconds RunningTimeout{60};
constexpr std::chrono::milliseconds AppErrorDelay{200};
constexpr std::uint8_t ManagedApp = 1;  ///< as a description has it

/// A port that nobody listens on now.
std::uint16_t PickFreePort(boost::asio::io_context& io) {
    using boost::asio::ip::tcp;
    const tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    return acceptor.local_endpoint().port();
}

std::string SerialText(const DeviceDescription& description) {
    constexpr std::string_view Digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : description.serialNumber) {
        text += Digits[byte >> 4U];
        text += Digits[byte & 0xFU];
    }
    return text;
}

/// As one word of a shell's command line (POSIX, 2.2.2).
std::string Quote(const std::string& text) {
    constexpr std::string_view Plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-./:=@_";
    if (!text.empty() && text.find_first_not_of(Plain) == std::string::npos) {
        return text;
    }
    return "'" + boost::algorithm::replace_all_copy(text, "'", R"('\'')") + "'";
}

}  // namespace

Launcher::Launcher(const Options& options, const Installation& installation, Console& console,
                   const LauncherGraces& graces)
    : options_(options),
      installation_(installation),
      console_(console),
      graces_(graces),
      directory_(options.directory),
      signals_(io_, SIGINT, SIGTERM),
      demoDeadline_(io_),
      appErrorTimer_(io_),
      port_(options.port) {
    for (const std::string& file : options_.devices) {
        AddDevice(file);
    }
    if (devices_.size() > 1 &&
        devices_[0]->GetDescription().serialNumber == devices_[1]->GetDescription().serialNumber) {
        throw std::runtime_error(devices_[1]->GetDescription().source + ": serial number " +
                                 SerialText(devices_[1]->GetDescription()) + " is that of device 1 too");
    }
    if (!options_.withoutDeviceStack) {
        deviceStack_ = std::make_unique<SupervisedProcess>(
            io_, "device stack",
            SupervisedProcess::Handlers{[this] { return DeviceStackCommand(); },
                                        [this](const std::string& line) { OnDeviceStackOutput(line); },
                                        [this](const ProcessEnd& end) { OnEnded(*deviceStack_, end); }});
    }
    // A reader that goes away, as in "localdevice | head", ends the local device in order.
    signals_.add(SIGHUP);
    signals_.add(SIGPIPE);
}

void Launcher::AddDevice(const std::string& file) {
    const auto index = devices_.size();
    const int logicalDevice = static_cast<int>(index) + 1;
    HostedDevice::Handlers handlers;
    handlers.process.command = [this, index] { return HostCommand(*devices_[index]); };
    handlers.process.onOutput = [this, index](const std::string& line) {
        if (options_.once) {
            if (devices_[index]->OnOutput(line)) {
                OnAppFailed(*devices_[index]);
            }
        } else if (!options_.quiet) {
            console_.Print(devices_.size() > 1 ? "[" + std::to_string(index + 1) + "] " + line : line);
        }
    };
    handlers.process.onEnded = [this, index](const ProcessEnd& end) { OnEnded(devices_[index]->GetHost(), end); };
    handlers.onConnected = [this] { PlayDemos(); };
    handlers.onError = [this, index] { OnError(*devices_[index]); };
    handlers.onDemoEnded = [this](const std::string& failure) { OnDemoEnded(failure); };
    devices_.push_back(std::make_unique<HostedDevice>(io_, logicalDevice, file, directory_.ControlSocket(logicalDevice),
                                                      options_.once, console_, std::move(handlers)));
    if (options_.once) {
        demos_.push_back(LoadDemoScript(Installation::DemoOf(file)));
    }
}

std::string Launcher::Run() {
    supervisor_ = std::make_unique<SupervisorServer>(
        io_, directory_.SupervisorSocket(),
        [this](const SupervisorRequest& request, pid_t peer) { OnRequest(request, peer); });
    AwaitSignal();
    if (options_.once) {
        demoDeadline_.expires_after(RunningTimeout);
        demoDeadline_.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                OnNotRunning();
            }
        });
    }
    console_.Print("Files in " + directory_.GetPath().string() + "; Ctrl-C ends the local device.");
    PowerOn();
    io_.run();
    return failure_;
}

void Launcher::AwaitSignal() {
    signals_.async_wait([this](const boost::system::error_code& error, int signal) {
        if (!error) {
            AwaitSignal();
            OnSignal(signal);
        }
    });
}

void Launcher::OnSignal(int signal) {
    if (signal == SIGPIPE) {
        console_.OnReaderGone();
    }
    if (goal_ != Goal::Exit) {
        if (options_.once && failure_.empty()) {
            failure_ = "interrupted before the demo had ended";
        }
        PowerOff(Goal::Exit);
        return;
    }
    if (signal == SIGPIPE || std::exchange(isKilled_, true)) {
        return;
    }
    failure_ += std::string(failure_.empty() ? "" : "; ") + "ended hard by a second signal";
    for (const auto& device : devices_) {
        device->GetHost().Kill();
    }
    if (deviceStack_) {
        deviceStack_->Kill();
    }
}

void Launcher::OnRequest(const SupervisorRequest& request, pid_t peer) {
    if (const auto* const bad = std::get_if<BadRequest>(&request)) {
        console_.Tell("supervisor", "got a request of " + NameOf(peer) + ": " + bad->problem);
        return;
    }
    if (const auto* const led = std::get_if<RunLedOffRequest>(&request)) {
        SetRunLed(false);
        return;
    }
    if (goal_ != Goal::Run) {
        return;
    }
    const auto& restart = std::get<RestartRequest>(request);
    if (options_.once) {
        Fail(NameOf(peer) + " asked for a restart");
        return;
    }
    console_.Tell("supervisor", std::string("restarts the device") +
                                    (restart.factoryReset ? " in its factory state" : "") + ", as " + NameOf(peer) +
                                    " asks");
    PowerOff(Goal::Restart);
}

void Launcher::OnAppControl(int logicalDevice, AppControlWatcher::Point point, std::optional<int> value) {
    const auto index = static_cast<std::size_t>(logicalDevice) - 1;
    if (goal_ != Goal::Run || index >= devices_.size()) {
        return;
    }
    HostedDevice& device = *devices_[index];
    if (point == AppControlWatcher::Point::AppDebug) {
        if (value == AppControlWatcher::DebugOn && device.GetDescription().appType == ManagedApp) {
            TellDebugCommands(device);
        }
        return;
    }
    const std::string before = device.GetRunStateText();
    const bool wasStarting = device.IsStarting();
    device.SetAppControl(point, value);
    if (device.GetRunStateText() != before) {
        console_.Tell(device.GetName(), device.GetRunStateText());
    }
    if (point == AppControlWatcher::Point::RunState && value == AppControlWatcher::Running) {
        SetRunLed(true);
    }
    if (options_.once && wasStarting && point == AppControlWatcher::Point::RunState &&
        value == AppControlWatcher::Stopped) {
        // What the app host wrote before it may still be on its way through the host's output.
        appErrorTimer_.expires_after(AppErrorDelay);
        appErrorTimer_.async_wait([this, &device](const boost::system::error_code& error) {
            if (!error) {
                OnAppFailed(device);
            }
        });
    }
    PlayDemos();
}

void Launcher::OnAppFailed(const HostedDevice& device) {
    if (goal_ == Goal::Run) {
        const std::string& error = device.GetAppError();
        Fail(device.GetName() + " cannot run: " + (error.empty() ? "its app ended at its start" : error));
    }
}

void Launcher::OnDeviceStackOutput(const std::string& line) {
    const std::string ready = "device stack listening on 127.0.0.1:";
    const auto port = line.rfind(ready, 0) == 0 ? ParseDecimal(line.substr(ready.size()), UINT16_MAX) : std::nullopt;
    if (!port) {
        return;
    }
    port_ = static_cast<std::uint16_t>(*port);
    deviceStack_->SetUp();
    console_.Tell(deviceStack_->GetName(), "listening on " + DeviceStackAddress());
    directory_.StoreDeviceStackAddress(DeviceStackAddress());
    StartHosts();
}

void Launcher::OnEnded(SupervisedProcess& process, const ProcessEnd& end) {
    if (goal_ != Goal::Run) {
        if (!end.isInOrder) {
            OnEndedWithoutOrder(process, end.how);
        }
        ContinuePowerOff();
        return;
    }
    const std::string what = process.GetName() + " " + end.how;
    if (!process.WasUp() || options_.once) {
        Fail(what);
        return;
    }
    const auto pause = deaths_.Add(std::chrono::steady_clock::now());
    if (!pause) {
        Fail("too many processes ended within a minute, at last: " + what);
        return;
    }
    if (&process == deviceStack_.get()) {
        // The object model went with it, and only a device that starts publishes one.
        console_.Tell(process.GetName(), end.how + "; the whole device restarts");
        PowerOff(Goal::Restart);
        return;
    }
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(*pause).count();
    console_.Tell(process.GetName(), end.how + "; starts again in " + std::to_string(milliseconds) + " ms");
    process.StartAfter(*pause);
}

/// A part did not end as it was asked to: it was killed, or has failed.
void Launcher::OnEndedWithoutOrder(const SupervisedProcess& process, const std::string& how) {
    if (isKilled_) {
        return;
    }
    if (goal_ == Goal::Exit && failure_.empty()) {
        NoteFailure(process.GetName() + " " + how);
    } else {
        console_.Tell(process.GetName(), how);
    }
}

void Launcher::SetRunLed(bool on) {
    if (std::exchange(isRunLedOn_, on) != on) {
        console_.Tell("RUN LED", on ? "on" : "off");
    }
}

void Launcher::PowerOn() {
    goal_ = Goal::Run;
    hostsStarted_ = false;
    if (deviceStack_ && options_.deviceStackDelay.count() == 0) {
        deviceStack_->Start();
        return;
    }
    if (port_ == 0) {
        port_ = PickFreePort(io_);
    }
    if (deviceStack_) {
        deviceStack_->StartAfter(options_.deviceStackDelay);
    }
    console_.Tell("device stack", "expected on " + DeviceStackAddress());
    StartHosts();
}

void Launcher::StartHosts() {
    // A device stack that is started later finds them running.
    if (std::exchange(hostsStarted_, true)) {
        return;
    }
    watcher_ = std::make_unique<AppControlWatcher>(
        io_, DeviceStackAddress(), [this](int logicalDevice, AppControlWatcher::Point point, std::optional<int> value) {
            OnAppControl(logicalDevice, point, value);
        });
    for (const auto& device : devices_) {
        const DeviceDescription& description = device->GetDescription();
        console_.Tell(device->GetName(), description.name + ", " +
                                             FormatIndividualAddress(description.individualAddress) + ", app " +
                                             description.appId);
        device->PowerOn();
    }
}

void Launcher::PowerOff(Goal goal) {
    goal_ = goal;
    watcher_.reset();
    SetRunLed(false);
    for (const auto& device : devices_) {
        device->PowerOff(graces_.host);
    }
    ContinuePowerOff();
}

void Launcher::ContinuePowerOff() {
    for (const auto& device : devices_) {
        if (device->GetHost().IsRunning()) {
            return;
        }
    }
    if (deviceStack_) {
        deviceStack_->Stop(graces_.deviceStack);
        if (deviceStack_->IsRunning()) {
            return;
        }
    }
    if (goal_ == Goal::Restart) {
        PowerOn();
        return;
    }
    signals_.cancel();
    demoDeadline_.cancel();
    appErrorTimer_.cancel();
    supervisor_.reset();
}

void Launcher::Fail(const std::string& problem) {
    NoteFailure(problem);
    PowerOff(Goal::Exit);
}

void Launcher::NoteFailure(const std::string& problem) {
    failure_ = problem;
    if (directory_.KeepLogs()) {
        failure_ += "; the logs stay in " + directory_.GetPath().string();
    }
}

void Launcher::PlayDemos() {
    const bool areReady = std::all_of(devices_.begin(), devices_.end(), [](const auto& d) { return d->IsReady(); });
    if (!options_.once || goal_ != Goal::Run || !areReady || playedDemos_ != 0) {
        return;
    }
    demoDeadline_.cancel();
    PlayNextDemo();
}

void Launcher::PlayNextDemo() {
    if (playedDemos_ == devices_.size()) {
        PowerOff(Goal::Exit);
        return;
    }
    const std::size_t index = playedDemos_++;
    devices_[index]->PlayDemo(demos_[index]);
}

void Launcher::OnDemoEnded(const std::string& failure) {
    // The demo that has ended is still on the stack.
    boost::asio::post(io_, [this, failure] {
        if (goal_ != Goal::Run) {
            return;
        }
        if (!failure.empty()) {
            Fail(devices_[playedDemos_ - 1]->GetName() + ", " + failure);
            return;
        }
        PlayNextDemo();
    });
}

void Launcher::OnError(const HostedDevice& device) {
    if (goal_ == Goal::Run) {
        const std::string errors = device.GetLastErrors();
        Fail(device.GetName() + " cannot run" + (errors.empty() ? "" : ": " + errors));
    }
}

void Launcher::OnNotRunning() {
    for (const auto& device : devices_) {
        if (goal_ == Goal::Run && !device->IsReady()) {
            const std::string errors = device->GetLastErrors();
            Fail(device->GetName() + " does not run after " + std::to_string(RunningTimeout.count()) +
                 " s: " + device->GetRunStateText() + (errors.empty() ? "" : ", " + errors));
        }
    }
}

/// Who is behind a process number.
std::string Launcher::NameOf(pid_t peer) const {
    for (const auto& device : devices_) {
        if (device->GetHost().IsProcess(peer)) {
            return device->GetName();
        }
    }
    return "process " + std::to_string(peer);
}

/// How a developer starts what the device does not start in debug mode.
void Launcher::TellDebugCommands(const HostedDevice& device) {
    const int logicalDevice = device.GetLogicalDevice();
    const std::string portFile = "ORN_CONNECTOR_PORT_FILE=" + Quote(directory_.ConnectorPortFile(logicalDevice)) + " ";
    console_.Tell(device.GetName(), "debug mode is on: the connector host is yours to start:");
    console_.Tell(device.GetName(), portFile + "mono --debug " + Quote(installation_.AppConnectorHost()) + " " +
                                        Quote(installation_.ManagedApp(device.GetDescription().appId)) + " 127.0.0.1");
    console_.Tell(device.GetName(), "and, after a restart of the application, the app host:");
    console_.Tell(device.GetName(), portFile + "ORN_DEVICE_STACK=" + DeviceStackAddress() + " " +
                                        Quote(installation_.AppHost()) + " " + Quote(installation_.ConnectorLibrary()) +
                                        " " + std::to_string(logicalDevice));
}

LaunchCommand Launcher::DeviceStackCommand() const {
    LaunchCommand command;
    command.program = installation_.DeviceStack();
    command.arguments = {"--port", std::to_string(port_), "--log", directory_.Log("devicestack")};
    for (const auto& device : devices_) {
        command.arguments.push_back("--serial" + std::to_string(device->GetLogicalDevice()));
        command.arguments.push_back(SerialText(device->GetDescription()));
    }
    return command;
}

LaunchCommand Launcher::HostCommand(const HostedDevice& device) const {
    LaunchCommand command;
    command.program = installation_.KnxStackHost();
    command.arguments = {"--device",  device.GetDescription().source,
                         "--library", installation_.PluginLibrary(),
                         "--bus",     options_.bus,
                         "--control", device.GetControlSocket(),
                         "--log",     directory_.Log("host" + std::to_string(device.GetLogicalDevice()))};
    if (options_.quiet || options_.once) {
        command.arguments.emplace_back("--quiet");
    }
    command.environment = {"ORN_DEVICE_STACK=" + DeviceStackAddress(),
                           "ORN_SUPERVISOR=" + directory_.SupervisorSocket(),
                           "ORN_CONNECTOR_PORT_FILE=" + directory_.ConnectorPortFile(device.GetLogicalDevice())};
    return command;
}

}  // namespace LocalDevice
