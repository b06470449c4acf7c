#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Application/ApiHub.h"
#include "Application/ApplicationHost.h"
#include "Application/Downloader.h"
#include "Bus/BusAddress.h"
#include "Bus/BusParticipant.h"
#include "Bus/InProcessBus.h"
#include "DeviceDescription.h"
#include "GroupObjects/GroupObjectService.h"
#include "InterfaceObjects/ApplicationMemory.h"
#include "InterfaceObjects/InterfaceObjects.h"
#include "Output/HostEvents.h"
#include "Output/LastErrors.h"

namespace LocalDevice {

/// The whole stack of one device: powered up as its description says, on its bus, with its application program.
/// Thread-safe.
class KnxStackHost {
public:
    /// Powers the device up; its application program is not started. `events` must outlive the object. Throws
    /// `BusError` where the bus is not there.
    KnxStackHost(const DeviceDescription& device, const BusAddress& bus, ApplicationProgramFactory factory,
                 HostEvents& events, std::chrono::milliseconds downloadPause, const ApplicationHostTimes& times = {});

    /// Ends the application program like its `Exit`.
    ~KnxStackHost();
    KnxStackHost(const KnxStackHost&) = delete;
    KnxStackHost& operator=(const KnxStackHost&) = delete;

    /// Ends what somebody waits for: downloads and reads.
    void StopWaiting();

    ApplicationHost& GetApplication() { return application_; }
    Downloader& GetDownloader() { return downloader_; }
    BusParticipant& GetParticipant() { return *participant_; }
    InterfaceObjects& GetObjects() { return objects_; }
    GroupObjectService& GetGroupObjects() { return groupObjects_; }
    const ApiHub& GetHub() const { return hub_; }
    const LastErrors& GetLastErrors() const { return lastErrors_; }

private:
    BusConnector MakeConnector(const BusAddress& bus, std::uint16_t individualAddress, bool isDevice);
    LoadObserver MakeObserver();

    HostEvents& events_;
    const LastErrors lastErrors_;
    std::unique_ptr<InProcessBus> bus_;  ///< null with a knxd
    InterfaceObjects objects_;
    ApplicationMemory memory_;
    GroupObjectService groupObjects_;
    ApiHub hub_;
    ApplicationHost application_;
    Downloader downloader_;
    std::unique_ptr<BusParticipant> participant_;
};

}  // namespace LocalDevice
