#include "LocalDevice.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/directory.hpp>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Children.h"
#include "WebSocketClient.h"

namespace EndToEnd {

namespace {

namespace fs = boost::filesystem;

using SteadyClock = std::chrono::steady_clock;

constexpr Milliseconds PollPause{5};

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::size_t CountEntries(const std::string& folder) {
    boost::system::error_code ignored;
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder, ignored), fs::directory_iterator()));
}

bool IsSent(const json& event) {
    return event.at("event") == "telegram" && event.at("direction") == "out" && event.at("verdict") == "sent";
}

int ConnectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("path too long: " + path);
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        return socket;
    }
    ::close(socket);
    return -1;
}

}  // namespace

bool WaitUntil(const std::function<bool()>& condition, Milliseconds limit) {
    for (const auto deadline = SteadyClock::now() + limit; SteadyClock::now() < deadline;) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(PollPause);
    }
    return condition();
}

ControlConnection::ControlConnection(const std::string& path) {
    if (!WaitUntil([this, &path] { return (socket_ = ConnectTo(path)) >= 0; })) {
        throw std::runtime_error("nobody listens at " + path);
    }
}

ControlConnection::~ControlConnection() {
    ::close(socket_);
}

json ControlConnection::Ask(const json& command) {
    const std::string line = command.dump() + "\n";
    if (::send(socket_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("the control socket does not take " + line);
    }
    while (auto message = Receive(Limit)) {
        if (!message->contains("event")) {
            return *message;
        }
        events_.push_back(std::move(*message));
    }
    throw std::runtime_error("no answer to " + line);
}

std::optional<json> ControlConnection::NextEvent(Milliseconds limit) {
    if (!events_.empty()) {
        json event = std::move(events_.front());
        events_.erase(events_.begin());
        return event;
    }
    return Receive(limit);
}

std::optional<json> ControlConnection::Receive(Milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    for (;;) {
        const auto end = buffer_.find('\n');
        if (end != std::string::npos) {
            json message = json::parse(buffer_.substr(0, end));
            buffer_.erase(0, end + 1);
            return message;
        }
        const auto left = std::chrono::duration_cast<Milliseconds>(deadline - SteadyClock::now()).count();
        pollfd readable{socket_, POLLIN, 0};
        if (left < 0 || ::poll(&readable, 1, static_cast<int>(left)) <= 0) {
            return std::nullopt;
        }
        std::array<char, 4096> chunk{};
        const ssize_t size = ::recv(socket_, chunk.data(), chunk.size(), 0);
        if (size <= 0) {
            return std::nullopt;
        }
        buffer_.append(chunk.data(), static_cast<std::size_t>(size));
    }
}

DeviceStack::DeviceStack(const std::vector<std::string>& serialNumbers, std::uint16_t port) {
    std::vector<std::string> arguments{"--port", std::to_string(port)};
    for (std::size_t i = 0; i < serialNumbers.size(); ++i) {
        arguments.push_back("--serial" + std::to_string(i + 1));
        arguments.push_back(serialNumbers[i]);
    }
    process_ = std::make_unique<ChildProcess>(ORN_DEVICESTACK_PROGRAM, arguments);
    const auto line = process_->WaitForLine("device stack listening on ");
    if (!line) {
        throw std::runtime_error("the device stack did not start");
    }
    port_ = static_cast<std::uint16_t>(std::stoi(line->substr(line->rfind(':') + 1)));
}

json DeviceStack::Ask(json command) const {
    TestSupport::WebSocketClient client(port_);
    command["request"] = 1;
    client.Send(command.dump());
    const auto answer = client.Receive();
    if (!answer) {
        throw std::runtime_error("the device stack does not answer");
    }
    return json::parse(*answer);
}

json DeviceStack::GetModel() const {
    return Ask({{"command", "GetObjectModel"}}).at("response");
}

Host::Host(const Options& options) {
    auto environment = options.environment;
    environment["ORN_DEVICE_STACK"] = options.deviceStackAddress;
    environment["ORN_SUPERVISOR"] = folder_.At("supervisor");
    const std::string library = options.library.empty() ? ORN_PLUGIN_LIBRARY : options.library;
    std::vector<std::string> command = options.runner;
    command.insert(command.end(),
                   {ORN_KNXSTACKHOST_PROGRAM, "--device", options.device, "--library", library, "--bus", options.bus,
                    "--control", GetControlPath(), "--log", GetLogPath(), "--download-pause", "5"});
    const std::string program = command.front();
    command.erase(command.begin());
    process_ = std::make_unique<ChildProcess>(program, command, environment);
    control_ = std::make_unique<ControlConnection>(GetControlPath());
}

bool Host::WaitForRunState(const std::string& state, Milliseconds limit) {
    return WaitUntil([this, &state] { return GetStatus().at("runState") == state; }, limit);
}

bool Host::RestartAndWait() {
    json before;
    // A request while the cycle of an earlier one ends is a duplicate and begins none; that cycle's run state does not
    // count.
    const bool hasBegun = WaitUntil([this, &before] {
        before = GetStatus();
        return Ask({{"command", "restart"}}).at("result") == 2 &&
               WaitUntil([this, &before] { return GetStatus().at("cycles") > before.at("cycles"); }, Milliseconds(500));
    });
    return hasBegun && WaitUntil([this, &before] { return GetStatus().at("runStates") > before.at("runStates"); });
}

void Host::Write(const std::string& address, const std::string& value) {
    const json answer = Ask({{"command", "write"}, {"address", address}, {"value", value}});
    if (!answer.at("ok").get<bool>()) {
        throw std::runtime_error(answer.dump());
    }
}

std::vector<pid_t> Host::GetAppHosts() const {
    return TestSupport::GetChildren(process_->GetPid());
}

std::vector<std::string> Host::GetLog() const {
    std::istringstream content(ReadFile(GetLogPath()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        const auto blank = line.find(' ');
        lines.push_back(blank == std::string::npos ? line : line.substr(blank + 1));
    }
    return lines;
}

bool Host::Stop() {
    process_->Signal(SIGTERM);
    return process_->WaitForExit(Limit) == TestSupport::ExitStatus::Exited(0);
}

TelegramMonitor::TelegramMonitor(const Host& host) : connection_(host.GetControlPath()) {
    connection_.Ask({{"command", "monitor"}});
}

std::optional<std::string> TelegramMonitor::NextSent(const std::string& address, Milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    while (SteadyClock::now() < deadline) {
        const auto event =
            connection_.NextEvent(std::chrono::duration_cast<Milliseconds>(deadline - SteadyClock::now()));
        if (event && IsSent(*event) && event->at("address") == address) {
            return event->value("value", "");
        }
    }
    return std::nullopt;
}

std::vector<std::string> TelegramMonitor::TakeSent() {
    std::vector<std::string> sent;
    while (const auto event = connection_.NextEvent(Milliseconds(0))) {
        if (IsSent(*event)) {
            sent.push_back(event->at("service").get<std::string>() + " " + event->at("address").get<std::string>() +
                           " " + event->value("value", ""));
        }
    }
    return sent;
}

std::vector<std::string> TelegramMonitor::NextVerdicts(std::size_t count) {
    const auto deadline = SteadyClock::now() + Limit;
    std::vector<std::string> verdicts;
    while (verdicts.size() < count && SteadyClock::now() < deadline) {
        const auto event =
            connection_.NextEvent(std::chrono::duration_cast<Milliseconds>(deadline - SteadyClock::now()));
        if (event && event->at("event") == "telegram") {
            verdicts.push_back(event->at("direction").get<std::string>() + " " +
                               event->at("service").get<std::string>() + " " + event->at("address").get<std::string>() +
                               " CO " + event->at("object").dump() + " " + event->value("value", "--") + " " +
                               event->at("verdict").get<std::string>() + ": " + event->at("reason").get<std::string>());
        }
    }
    return verdicts;
}

Resources GetResources(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    std::size_t totalPages = 0;
    std::size_t residentPages = 0;
    std::ifstream(folder + "/statm") >> totalPages >> residentPages;
    const auto pageKiB = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024;
    return {CountEntries(folder + "/task"), CountEntries(folder + "/fd"), residentPages * pageKiB};
}

std::vector<std::string> FindSanitizerReports(const ChildProcess& process) {
    std::vector<std::string> reports;
    for (const auto& lines : {process.GetOutputLines(), process.GetErrorLines()}) {
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(reports), [](const std::string& line) {
            return line.find("Sanitizer") != std::string::npos || line.find("runtime error:") != std::string::npos;
        });
    }
    return reports;
}

std::string SampleDevice(const std::string& name) {
    return std::string(ORN_DEVICES_FOLDER) + "/" + name + ".json";
}

}  // namespace EndToEnd
