#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "Orn/BoundedInt.h"

namespace Zandrel {

/// What is known of the loaded app: its id (also the log prefix), its type and its logical device.
///
/// Written by the init thread while it reads the download, read by every thread.
class AppIdentity {
public:
    /// Empty while no app is known.
    std::string GetAppId() const;
    void SetAppId(std::string appId);

    std::optional<LogicalDeviceId> GetLogicalDeviceId() const noexcept;
    void SetLogicalDeviceId(LogicalDeviceId id) noexcept;

    /// 1 is a managed app, any other value and none a native one.
    std::optional<std::uint8_t> GetAppType() const noexcept;
    void SetAppType(std::uint8_t appType) noexcept;
    bool IsManagedApp() const noexcept;

private:
    static constexpr int Unknown = -1;

    std::atomic<int> logicalDeviceId_{Unknown};
    std::atomic<int> appType_{Unknown};

    mutable boost::mutex mutex_;  ///< guards appId_
    std::string appId_;
};

}  // namespace Zandrel
