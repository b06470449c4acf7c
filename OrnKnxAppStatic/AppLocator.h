#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>

#include "PrefixedLogger.h"
#include "Zandrel/AppHostConfiguration.h"

namespace Zandrel {

/// Finds the program files of app host and app. In debug mode the configuration may name other directories.
/// Thread-safe.
class AppLocator {
public:
    /// `configuration` must outlive it.
    AppLocator(PrefixedLogger log, const AppHostConfiguration& configuration);

    /// The app-host program; none where it is no regular file.
    std::optional<boost::filesystem::path> GetAppHost() const;

    /// The library "liborn" `appName` ".so" in lower case, the user's before the system's; none, with a line in the
    /// log, where neither is a regular file.
    std::optional<boost::filesystem::path> GetNativeAppLib(const std::string& appName) const;

private:
    boost::filesystem::path DirectoryInForce(const boost::filesystem::path& standard,
                                             const std::optional<std::string>& debugDirectory) const;

    const PrefixedLogger log_;
    const AppHostConfiguration& configuration_;
};

}  // namespace Zandrel
