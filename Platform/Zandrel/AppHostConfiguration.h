#pragma once

#include <atomic>
#include <optional>
#include <string>

namespace Zandrel {

/// The device's switches for the app host. Reads its source once, at construction; thread-safe after that.
///
/// The local device takes the switches from the environment: ORN_APP_HOST_STARTUP_DISABLED ("1" starts no app host),
/// and the directories ORN_ROOT_PATH_APP_HOST, ORN_ROOT_PATH_APP_CONNECTOR_HOST, ORN_ROOT_PATH_NATIVE_APP and
/// ORN_ROOT_PATH_MANAGED_APP that replace the standard ones in debug mode. An unset or empty variable is no override.
class AppHostConfiguration {
public:
    AppHostConfiguration();
    AppHostConfiguration(const AppHostConfiguration&) = delete;
    AppHostConfiguration& operator=(const AppHostConfiguration&) = delete;

    bool IsInAppDebugMode() const noexcept;
    /// Stores the mode and returns the one before.
    bool ReplaceAppDebugMode(bool enable) noexcept;

    /// True when the configuration itself says so or the debug switch has disabled the connector host's start-up.
    bool IsAppHostStartupDisabled() const noexcept;
    bool IsAppConnectorHostStartupDisabled() const noexcept;
    /// Stores the value and returns the one before.
    bool SetAppConnectorHostStartupDisabled(bool disabled) noexcept;

    std::optional<std::string> GetRootPathAppHost() const;
    std::optional<std::string> GetRootPathAppConnectorHost() const;
    std::optional<std::string> GetRootPathNativeApp() const;
    std::optional<std::string> GetRootPathManagedApp() const;

private:
    std::atomic<bool> appDebugMode_{false};
    std::atomic<bool> appConnectorHostStartupDisabled_{false};
    bool appHostStartupDisabled_;
    std::optional<std::string> rootPathAppHost_;
    std::optional<std::string> rootPathAppConnectorHost_;
    std::optional<std::string> rootPathNativeApp_;
    std::optional<std::string> rootPathManagedApp_;
};

}  // namespace Zandrel
