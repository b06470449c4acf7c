#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TemporaryFolder.h"

/// The programs of a local device, as a test starts and handles them. Everything here is used by one thread.
namespace EndToEnd {

using nlohmann::json;
using TestSupport::ChildProcess;
using TestSupport::TemporaryFolder;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds Limit{30000};
constexpr Milliseconds DemoLimit{60000};  ///< of a demo from its start to its end

constexpr const char* StairLightSerialNumber = "000000010001";
constexpr const char* ThermostatSerialNumber = "000000010003";
constexpr unsigned long LogicalDevice1 = 1'000'000;  ///< its id in the object model

/// Looks at `condition` every few milliseconds until it holds. False when it does not within `limit`.
bool WaitUntil(const std::function<bool()>& condition, Milliseconds limit = Limit);

/// A connection to a control socket: JSON lines, each read within a limit.
class ControlConnection {
public:
    /// Throws `std::runtime_error` where nobody listens at `path` in time.
    explicit ControlConnection(const std::string& path);
    ~ControlConnection();
    ControlConnection(const ControlConnection&) = delete;
    ControlConnection& operator=(const ControlConnection&) = delete;

    /// Sends a command and returns its answer. Events that arrive meanwhile are kept. Throws where none comes in time.
    json Ask(const json& command);

    /// The next event of a connection that has asked for "monitor"; none within `limit`.
    std::optional<json> NextEvent(Milliseconds limit);

private:
    std::optional<json> Receive(Milliseconds limit);

    int socket_ = -1;
    std::string buffer_;
    std::vector<json> events_;
};

/// The service that owns the object model.
class DeviceStack {
public:
    /// Starts it at `port`, 0 for any, for logical devices with these serial numbers.
    explicit DeviceStack(const std::vector<std::string>& serialNumbers, std::uint16_t port = 0);

    std::uint16_t GetPort() const noexcept { return port_; }
    std::string GetAddress() const { return "127.0.0.1:" + std::to_string(port_); }
    ChildProcess& GetProcess() { return *process_; }

    /// Sends one command as a client of its own. Throws where there is no answer.
    json Ask(json command) const;
    /// The whole object model.
    json GetModel() const;

private:
    std::unique_ptr<ChildProcess> process_;
    std::uint16_t port_;
};

/// A KNX stack host with the plug-in, and what it started.
class Host {
public:
    struct Options {
        std::string device = {};         ///< file of the description
        std::string deviceStackAddress;  ///< "HOST:PORT"
        std::string bus = "in-process";
        std::string library = {};  ///< empty: the plug-in of the build
        TestSupport::ChildProcess::Environment environment = {};
        std::vector<std::string> runner = {};  ///< a program with its arguments that becomes the host; empty: none
    };

    explicit Host(const Options& options);

    ChildProcess& GetProcess() { return *process_; }
    std::string GetControlPath() const { return folder_.At("control"); }
    std::string GetLogPath() const { return folder_.At("log"); }

    json Ask(const json& command) { return control_->Ask(command); }
    json GetStatus() { return Ask({{"command", "status"}}); }
    bool WaitForRunState(const std::string& state, Milliseconds limit = Limit);
    /// Restarts the application and waits until a new cycle has reported a run state. False when none did.
    bool RestartAndWait();
    void Write(const std::string& address, const std::string& value);

    /// The app hosts that this host has started and that live, zombies included.
    std::vector<pid_t> GetAppHosts() const;

    /// The log, line by line, without the time.
    std::vector<std::string> GetLog() const;

    /// Ends it with SIGTERM; true when it exited with 0 in time.
    bool Stop();

private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_;
    std::unique_ptr<ControlConnection> control_;
};

/// The telegrams that a host shows, from its construction on.
class TelegramMonitor {
public:
    explicit TelegramMonitor(const Host& host);

    /// The next telegram that the device sends to `address`: its value as text; none within `limit`.
    std::optional<std::string> NextSent(const std::string& address, Milliseconds limit = Limit);
    /// All that the device sent until now: "SERVICE ADDRESS VALUE".
    std::vector<std::string> TakeSent();
    /// The next telegrams in any direction, fewer than `count` when they do not come within the limit:
    /// "DIRECTION SERVICE ADDRESS CO NUMBER VALUE VERDICT: REASON".
    std::vector<std::string> NextVerdicts(std::size_t count);

private:
    ControlConnection connection_;
};

/// What a process holds.
struct Resources {
    std::size_t threads;
    std::size_t descriptors;
    std::size_t residentKiB;
};
Resources GetResources(pid_t process);

/// What a sanitizer wrote to the outputs of a program or of what it started.
std::vector<std::string> FindSanitizerReports(const ChildProcess& process);

/// The description NAME.json of the sample apps.
std::string SampleDevice(const std::string& name);

}  // namespace EndToEnd
