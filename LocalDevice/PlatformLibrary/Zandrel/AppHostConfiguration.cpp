#include "Zandrel/AppHostConfiguration.h"

#include <cstdlib>

namespace Zandrel {
namespace {

std::optional<std::string> ReadEnvironment(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return value;
}

}  // namespace

AppHostConfiguration::AppHostConfiguration()
    : appHostStartupDisabled_(ReadEnvironment("ORN_APP_HOST_STARTUP_DISABLED") == "1"),
      rootPathAppHost_(ReadEnvironment("ORN_ROOT_PATH_APP_HOST")),
      rootPathAppConnectorHost_(ReadEnvironment("ORN_ROOT_PATH_APP_CONNECTOR_HOST")),
      rootPathNativeApp_(ReadEnvironment("ORN_ROOT_PATH_NATIVE_APP")),
      rootPathManagedApp_(ReadEnvironment("ORN_ROOT_PATH_MANAGED_APP")) {}

bool AppHostConfiguration::IsInAppDebugMode() const noexcept {
    return appDebugMode_;
}

bool AppHostConfiguration::ReplaceAppDebugMode(bool enable) noexcept {
    return appDebugMode_.exchange(enable);
}

bool AppHostConfiguration::IsAppHostStartupDisabled() const noexcept {
    return appHostStartupDisabled_ || appConnectorHostStartupDisabled_;
}

bool AppHostConfiguration::IsAppConnectorHostStartupDisabled() const noexcept {
    return appConnectorHostStartupDisabled_;
}

bool AppHostConfiguration::SetAppConnectorHostStartupDisabled(bool disabled) noexcept {
    return appConnectorHostStartupDisabled_.exchange(disabled);
}

std::optional<std::string> AppHostConfiguration::GetRootPathAppHost() const {
    return rootPathAppHost_;
}

std::optional<std::string> AppHostConfiguration::GetRootPathAppConnectorHost() const {
    return rootPathAppConnectorHost_;
}

std::optional<std::string> AppHostConfiguration::GetRootPathNativeApp() const {
    return rootPathNativeApp_;
}

std::optional<std::string> AppHostConfiguration::GetRootPathManagedApp() const {
    return rootPathManagedApp_;
}

}  // namespace Zandrel
