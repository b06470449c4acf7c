#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Console.h"
#include "ControlClient.h"
#include "DemoPlayer.h"
#include "DeviceDescription.h"

namespace LocalDevice {

/// Plays a demo on a running device through the control socket of its host, and shows each telegram.
///
/// For the thread that runs `io`; `end` is called there, once, with an empty text or with what failed, and not after
/// destruction.
class DemoSession {
public:
    /// `control`: connected and asked for events; its messages go to `OnMessage`. Everything passed by reference must
    /// outlive the session.
    DemoSession(boost::asio::io_context& io, ControlClient& control, const DeviceDescription& device, DemoScript script,
                Console& console, std::function<void(const std::string& failure)> end);

    ~DemoSession();
    DemoSession(const DemoSession&) = delete;
    DemoSession& operator=(const DemoSession&) = delete;

    void Begin();
    /// A message of the host, a JSON object.
    void OnMessage(const nlohmann::json& message);

private:
    void Write(const DemoStep& step);
    void Show(const DemoStep& step, std::chrono::milliseconds wait);
    void End(const std::string& failure);
    void ArmTimer();

    ControlClient& control_;
    const DeviceDescription& device_;
    Console& console_;
    const std::string title_;
    const std::function<void(const std::string& failure)> end_;
    DemoPlayer player_;
    boost::asio::steady_timer timer_;
    const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);  ///< tells the timer's handler
};

}  // namespace LocalDevice
