#pragma once

#include <boost/filesystem/path.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppIdentity.h"
#include "PrefixedLogger.h"
#include "Zandrel/AppHostConfiguration.h"

namespace Zandrel {

/// Finds the program files of app host and app. In debug mode the configuration may name other directories.
/// Thread-safe.
class AppLocator {
public:
    /// `configuration` must outlive it.
    AppLocator(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
               const AppHostConfiguration& configuration);

    /// The app-host program; none where it is no regular file.
    std::optional<boost::filesystem::path> GetAppHost() const;

    /// The connector-host program of managed apps; none where it is no regular file.
    std::optional<boost::filesystem::path> GetAppConnectorHost() const;

    /// The assembly `appId` with the extension ".dll", the user's before the system's; none, with a line in the log for
    /// each, where neither is a regular file.
    std::optional<boost::filesystem::path> GetManagedAppDll(const std::string& appId) const;

    /// The library "liborn" `appName` ".so" in lower case, the user's before the system's; none, with a line in the log
    /// for each, where neither is a regular file. That of a managed app is always the system's own.
    std::optional<boost::filesystem::path> GetNativeAppLib(const std::string& appName) const;

private:
    using Candidates = std::vector<boost::filesystem::path>;

    boost::filesystem::path DirectoryInForce(const boost::filesystem::path& standard,
                                             const std::optional<std::string>& debugDirectory) const;

    std::optional<boost::filesystem::path> FindApp(const char* caller, const Candidates& candidates) const;

    const PrefixedLogger log_;
    const std::shared_ptr<const AppIdentity> identity_;
    const AppHostConfiguration& configuration_;
};

}  // namespace Zandrel
