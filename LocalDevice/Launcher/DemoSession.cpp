#include "DemoSession.h"

#include <algorithm>
#include <boost/format.hpp>
#include <nlohmann/json.hpp>
#include <utility>

#include "KnxAddress.h"

namespace LocalDevice {

namespace {

using Clock = std::chrono::steady_clock;

/// The name of the communication object that is bound to a group address.
std::string NameOf(const DeviceDescription& device, std::uint16_t groupAddress) {
    for (const auto& [number, object] : device.communicationObjects) {
        const auto& addresses = object.groupAddresses;
        if (std::find(addresses.begin(), addresses.end(), groupAddress) != addresses.end()) {
            return object.name;
        }
    }
    return {};
}

bool IsSentWrite(const nlohmann::json& message) {
    return TextOf(message, "event") == "telegram" && TextOf(message, "direction") == "out" &&
           TextOf(message, "service") == "write" && TextOf(message, "verdict") == "sent";
}

}  // namespace

DemoSession::DemoSession(boost::asio::io_context& io, ControlClient& control, const DeviceDescription& device,
                         DemoScript script, Console& console, std::function<void(const std::string& failure)> end)
    : control_(control),
      device_(device),
      console_(console),
      title_(script.title),
      end_(std::move(end)),
      player_(std::move(script), {[this](const DemoStep& step) { Write(step); },
                                  [this](const DemoStep& step, std::chrono::milliseconds wait) { Show(step, wait); },
                                  [this](const std::string& failure) { End(failure); }}),
      timer_(io) {}

DemoSession::~DemoSession() {
    *isAlive_ = false;
}

void DemoSession::Begin() {
    console_.Print("\n" + title_);
    player_.Begin(Clock::now());
    ArmTimer();
}

void DemoSession::OnMessage(const nlohmann::json& message) {
    const auto ok = message.find("ok");
    if (ok != message.end() && *ok == false) {
        player_.OnWriteFailed(TextOf(message, "error"));
        return;
    }
    const auto groupAddress = ParseGroupAddress(TextOf(message, "address"));
    if (groupAddress && IsSentWrite(message)) {
        player_.OnTelegram(*groupAddress, TextOf(message, "value"), Clock::now());
        ArmTimer();
    }
}

void DemoSession::Write(const DemoStep& step) {
    control_.Send({{"command", "write"}, {"address", FormatGroupAddress(step.groupAddress)}, {"value", step.value}});
}

void DemoSession::Show(const DemoStep& step, std::chrono::milliseconds wait) {
    const bool isWritten = step.kind == DemoStep::Kind::Write;
    const std::string title = isWritten ? step.title : step.title + " (" + std::to_string(wait.count()) + " ms)";
    console_.Print((boost::format("  %s %-9s %-14s %-16s %s") % (isWritten ? "->" : "<-") %
                    FormatGroupAddress(step.groupAddress) % NameOf(device_, step.groupAddress) % step.value % title)
                       .str());
}

void DemoSession::End(const std::string& failure) {
    timer_.cancel();
    end_(failure);
}

void DemoSession::ArmTimer() {
    const auto deadline = player_.GetDeadline();
    if (!deadline) {
        return;
    }
    timer_.expires_at(*deadline);
    timer_.async_wait([this, isAlive = isAlive_](const boost::system::error_code& error) {
        if (!error && *isAlive) {
            player_.OnTime(Clock::now());
        }
    });
}

}  // namespace LocalDevice
