#include "KnxStackHost.h"

#include <utility>

#include "Bus/KnxdBusLink.h"

namespace LocalDevice {

namespace {

constexpr std::uint16_t ParticipantAddress = 0xFFFA;  // 15.15.250

}  // namespace

KnxStackHost::KnxStackHost(const DeviceDescription& device, const BusAddress& bus, ApplicationProgramFactory factory,
                           HostEvents& events, std::chrono::milliseconds downloadPause,
                           const ApplicationHostTimes& times)
    : events_(events),
      lastErrors_(events),
      bus_(bus.IsInProcess() ? std::make_unique<InProcessBus>() : nullptr),
      groupObjects_(events),
      hub_(objects_, memory_, groupObjects_, events),
      application_(std::move(factory), hub_, events, times),
      downloader_(objects_, memory_, groupObjects_, hub_, events, MakeObserver(), downloadPause) {
    downloader_.PowerUp(device);
    const auto connectDevice = MakeConnector(bus, device.individualAddress, true);
    groupObjects_.Connect(connectDevice([this](const Telegram& telegram) { groupObjects_.OnTelegram(telegram); }));
    participant_ = std::make_unique<BusParticipant>(MakeConnector(bus, ParticipantAddress, false));
}

KnxStackHost::~KnxStackHost() {
    StopWaiting();
    application_.Exit();  // while everything that it uses is there
    groupObjects_.Connect(nullptr);
}

void KnxStackHost::StopWaiting() {
    downloader_.Stop();
    participant_->Stop();
}

BusConnector KnxStackHost::MakeConnector(const BusAddress& bus, std::uint16_t individualAddress, bool isDevice) {
    return [this, bus, individualAddress, isDevice](TelegramHandler onTelegram) -> std::unique_ptr<IBusLink> {
        if (bus_) {
            return bus_->Connect(individualAddress, std::move(onTelegram));
        }
        return std::make_unique<KnxdBusLink>(bus.knxdUrl, std::move(onTelegram),
                                             [this, isDevice](bool isConnected, const std::string& line) {
                                                 // The participant's connection goes and comes with the device's.
                                                 if (isDevice) {
                                                     events_.Publish(BusEvent{isConnected, line});
                                                 }
                                             });
    };
}

LoadObserver KnxStackHost::MakeObserver() {
    return {[this] { application_.OnUnloading(); }, [this] { application_.OnUnloaded(); },
            [this](std::uint64_t cycles) { application_.OnLoaded(cycles); }};
}

}  // namespace LocalDevice
