#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Application/ApiHub.h"
#include "Application/DownloadImage.h"
#include "DeviceDescription.h"
#include "GroupObjects/GroupObjectService.h"
#include "InterfaceObjects/ApplicationMemory.h"
#include "InterfaceObjects/InterfaceObjects.h"
#include "Output/HostEvents.h"
#include "Support/StopSignal.h"
#include "Support/WorkQueue.h"

namespace LocalDevice {

/// What of a description is downloaded.
struct DownloadRequest {
    /// Of `LoadableObjects`, and the IP parameters; walked in that order whatever the order here.
    std::vector<std::uint16_t> objects = EverythingLoadable();
    /// The object at which the configuration tool goes away; it stays loading.
    std::optional<std::uint16_t> abortAfter;

    static std::vector<std::uint16_t> EverythingLoadable();
};

/// Who is told how the load of the device goes; called on the thread that downloads.
struct LoadObserver {
    std::function<void()> onUnloading;  ///< the application's object is about to leave "loaded"
    std::function<void()> onUnloaded;   ///< it has left it
    /// A download has ended, and all objects are loaded. `cycles`: how many init cycles had begun before its last step.
    std::function<void(std::uint64_t cycles)> onLoaded;
};

/// Loads the device as a configuration tool does. Thread-safe: downloads run one after the other on a thread of this
/// object, while the caller waits.
class Downloader {
public:
    /// `pause`: before each step of a download. All references must outlive the object.
    Downloader(InterfaceObjects& objects, ApplicationMemory& memory, GroupObjectService& groupObjects, ApiHub& hub,
               HostEvents& events, LoadObserver observer, std::chrono::milliseconds pause);
    ~Downloader() { Stop(); }
    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    /// Ends a running download between two steps, and every later one at once.
    void Stop() { stop_.Stop(); }

    /// The state of a device that was loaded long ago: everything is in place at once, nobody is told. Gives the device
    /// its identity. To be called once, before anything else.
    void PowerUp(const DeviceDescription& description);

    /// Unloads and loads one object after the other. Returns what went wrong; none when all went as requested.
    std::optional<std::string> Download(const DeviceDescription& description, const DownloadRequest& request);

    /// Unloads all objects. Returns what went wrong.
    std::optional<std::string> Unload();

private:
    using Problem = std::optional<std::string>;

    Problem Run(std::function<Problem()> job);
    Problem DownloadNow(const DeviceDescription& description, const DownloadRequest& request);
    Problem UnloadNow();
    bool Load(std::uint16_t objectType, const DeviceDescription& description, bool isAborted);
    bool Step(std::uint16_t objectType, LoadEvent event);
    void Write(std::uint16_t objectType, LoadEvent event);
    void StoreData(std::uint16_t objectType, const DeviceDescription& description);
    void ClearData(std::uint16_t objectType);
    void StoreProperties(std::uint16_t objectType, const PropertyContents& contents);
    void UpdateOnline();

    static constexpr std::size_t MaxWaitingDownloads = 16;

    InterfaceObjects& objects_;
    ApplicationMemory& memory_;
    GroupObjectService& groupObjects_;
    ApiHub& hub_;
    HostEvents& events_;
    const LoadObserver observer_;
    const std::chrono::milliseconds pause_;

    StopSignal stop_;

    std::uint64_t cyclesBeforeLastStep_ = 0;  ///< of the download thread only

    WorkQueue thread_{MaxWaitingDownloads};
};

}  // namespace LocalDevice
