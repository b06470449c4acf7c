#include "HostedDevice.h"

#include <array>
#include <boost/algorithm/string/join.hpp>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

namespace LocalDevice {

namespace {

constexpr std::string_view NotStarted = "ornapphost: ";  ///< before what an app host says that has no log yet
constexpr std::string_view Separator = " - ";            ///< in a log line of the app host, before its message

bool IsAboutFailure(const nlohmann::json& message) {
    const std::string event = TextOf(message, "event");
    const std::string level = TextOf(message, "level");
    return (event == "log" && (level == "ERROR" || level == "FATAL")) ||
           (event == "runState" && TextOf(message, "state") == "error");
}

}  // namespace

HostedDevice::HostedDevice(boost::asio::io_context& io, int logicalDevice, const std::string& file,
                           std::string controlSocket, bool isFollowed, Console& console, Handlers handlers)
    : io_(io),
      console_(console),
      logicalDevice_(logicalDevice),
      name_("device " + std::to_string(logicalDevice)),
      description_(LoadDeviceDescription(file)),
      controlSocket_(std::move(controlSocket)),
      isFollowed_(isFollowed),
      handlers_(std::move(handlers)),
      host_(io, "host " + std::to_string(logicalDevice), handlers_.process) {}

void HostedDevice::PowerOn() {
    lastErrors_.clear();
    appError_.clear();
    host_.Start();
    Connect();
}

void HostedDevice::PowerOff(std::chrono::steady_clock::duration grace) {
    demo_.reset();
    control_.reset();
    isConnected_ = false;
    host_.Stop(grace);
}

void HostedDevice::SetAppControl(AppControlWatcher::Point point, std::optional<int> value) {
    (point == AppControlWatcher::Point::RunState ? runState_ : appEvent_) = value;
}

bool HostedDevice::IsReady() const {
    return isConnected_ && runState_ == AppControlWatcher::Running && appEvent_ == AppControlWatcher::CommunicationOn;
}

std::string HostedDevice::GetRunStateText() const {
    constexpr std::array Names{"Stopped", "Starting", "Running", "Stopping"};
    return std::string("run state ") + (runState_ ? Names.at(static_cast<std::size_t>(*runState_)) : "unknown");
}

bool HostedDevice::OnOutput(const std::string& line) {
    if (line.rfind(NotStarted, 0) == 0) {
        appError_ = line.substr(NotStarted.size());
        return true;
    }
    const auto begin = line.find(" ERROR OrnAppHost");
    const auto text = line.find(Separator, begin);
    if (begin != std::string::npos && text != std::string::npos) {
        appError_ = line.substr(text + Separator.size());
    }
    return false;
}

std::string HostedDevice::GetLastErrors() const {
    return boost::algorithm::join(lastErrors_, " | ");
}

void HostedDevice::PlayDemo(DemoScript script) {
    demo_ =
        std::make_unique<DemoSession>(io_, *control_, description_, std::move(script), console_, handlers_.onDemoEnded);
    demo_->Begin();
}

void HostedDevice::Connect() {
    control_ = std::make_unique<ControlClient>(
        io_, controlSocket_,
        ControlClient::Handlers{[this] { OnConnected(); },
                                [this](const nlohmann::json& message) { OnMessage(message); }, [this] { OnClosed(); }});
}

void HostedDevice::OnConnected() {
    isConnected_ = true;
    host_.SetUp();
    if (isFollowed_) {
        control_->Send({{"command", "monitor"}});
        // The error may be older than the connection.
        control_->Send({{"command", "status"}});
    }
    handlers_.onConnected();
}

void HostedDevice::OnMessage(const nlohmann::json& message) {
    if (!message.is_object()) {
        return;
    }
    if (IsAboutFailure(message)) {
        control_->Send({{"command", "status"}});
    }
    if (demo_) {
        demo_->OnMessage(message);
    }
    const auto errors = message.find("lastErrors");
    if (errors != message.end()) {
        lastErrors_ = errors->get<std::vector<std::string>>();
        if (TextOf(message, "runState") == "error") {
            handlers_.onError();
        }
    }
}

void HostedDevice::OnClosed() {
    isConnected_ = false;
    // The demo uses the connection.
    const bool wasPlaying = demo_ != nullptr;
    demo_.reset();
    Connect();
    if (wasPlaying) {
        handlers_.onDemoEnded("the connection to the host was lost");
    }
}

}  // namespace LocalDevice
