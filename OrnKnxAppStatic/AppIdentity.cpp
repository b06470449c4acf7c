#include "AppIdentity.h"

#include <boost/thread/lock_guard.hpp>
#include <utility>

namespace Zandrel {

std::string AppIdentity::GetAppId() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return appId_;
}

void AppIdentity::SetAppId(std::string appId) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    appId_ = std::move(appId);
}

std::optional<LogicalDeviceId> AppIdentity::GetLogicalDeviceId() const noexcept {
    return LogicalDeviceId::From(logicalDeviceId_);
}

void AppIdentity::SetLogicalDeviceId(LogicalDeviceId id) noexcept {
    logicalDeviceId_ = id.Value();
}

std::optional<std::uint8_t> AppIdentity::GetAppType() const noexcept {
    const int appType = appType_;
    if (appType == Unknown) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(appType);
}

void AppIdentity::SetAppType(std::uint8_t appType) noexcept {
    appType_ = appType;
}

bool AppIdentity::IsManagedApp() const noexcept {
    return appType_ == 1;
}

}  // namespace Zandrel
