#include "HostedDevice.h"

#include <array>
#include <chrono>
#include <utility>

namespace LocalDevice {

namespace {

/// The application program may have to wait for an app that does not end.
constexpr std::chrono::seconds HostGrace{30};

}  // namespace

HostedDevice::HostedDevice(boost::asio::io_context& io, int logicalDevice, const std::string& file,
                           std::string controlSocket, Console& console, Handlers handlers)
    : io_(io),
      console_(console),
      logicalDevice_(logicalDevice),
      name_("device " + std::to_string(logicalDevice)),
      description_(LoadDeviceDescription(file)),
      controlSocket_(std::move(controlSocket)),
      handlers_(std::move(handlers)),
      host_(io, "host " + std::to_string(logicalDevice), handlers_.process) {}

void HostedDevice::PowerOn() {
    host_.Start();
    Connect();
}

void HostedDevice::PowerOff() {
    demo_.reset();
    control_.reset();
    isConnected_ = false;
    host_.Stop(HostGrace);
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

void HostedDevice::PlayDemo(DemoScript script) {
    demo_ =
        std::make_unique<DemoSession>(io_, *control_, description_, std::move(script), console_, handlers_.onDemoEnded);
    demo_->Begin();
}

void HostedDevice::Connect() {
    control_ = std::make_unique<ControlClient>(io_, controlSocket_,
                                               ControlClient::Handlers{[this] {
                                                                           isConnected_ = true;
                                                                           host_.SetUp();
                                                                           handlers_.onConnected();
                                                                       },
                                                                       [this](const nlohmann::json& message) {
                                                                           if (demo_) {
                                                                               demo_->OnMessage(message);
                                                                           }
                                                                       },
                                                                       [this] {
                                                                           isConnected_ = false;
                                                                           // The demo uses the connection.
                                                                           const bool wasPlaying = demo_ != nullptr;
                                                                           demo_.reset();
                                                                           Connect();
                                                                           if (wasPlaying) {
                                                                               handlers_.onDemoEnded(
                                                                                   "the connection to the host was "
                                                                                   "lost");
                                                                           }
                                                                       }});
}

}  // namespace LocalDevice
