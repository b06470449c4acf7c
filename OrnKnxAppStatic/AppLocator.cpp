#include "AppLocator.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/filesystem/operations.hpp>
#include <utility>

#include "DevicePaths.h"

namespace Zandrel {

namespace {

using boost::filesystem::path;

bool IsRegularFile(const path& file) {
    boost::system::error_code ignored;  // whatever the reason, there is no file to use
    return boost::filesystem::is_regular_file(file, ignored);
}

}  // namespace

AppLocator::AppLocator(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
                       const AppHostConfiguration& configuration)
    : log_(std::move(log)), identity_(std::move(identity)), configuration_(configuration) {}

std::optional<path> AppLocator::GetAppHost() const {
    const path directory = DirectoryInForce(DevicePaths::AppHostDirectory(), configuration_.GetRootPathAppHost());
    path program = directory / "ornapphost";
    ORN_LOG(log_, INFO, "Try to find app host " << program.string());
    if (!IsRegularFile(program)) {
        return std::nullopt;
    }
    return program;
}

std::optional<path> AppLocator::GetAppConnectorHost() const {
    const path directory =
        DirectoryInForce(DevicePaths::AppHostDirectory(), configuration_.GetRootPathAppConnectorHost());
    path program = directory / "OrnAppConnectorHost.exe";
    ORN_LOG(log_, INFO, "Try to find app connector host " << program.string());
    if (!IsRegularFile(program)) {
        return std::nullopt;
    }
    return program;
}

std::optional<path> AppLocator::GetManagedAppDll(const std::string& appId) const {
    if (appId.empty()) {
        ORN_LOG(log_, ERROR, "No App Id specified!");
        return std::nullopt;
    }
    Candidates candidates{
        DevicePaths::UserManagedAppDirectory() / appId,
        DirectoryInForce(DevicePaths::SystemManagedAppDirectory(), configuration_.GetRootPathManagedApp()) / appId};
    for (path& candidate : candidates) {
        candidate.replace_extension(".dll");
    }
    return FindApp("GetManagedAppDll", candidates);
}

std::optional<path> AppLocator::GetNativeAppLib(const std::string& appName) const {
    if (appName.empty()) {
        ORN_LOG(log_, ERROR, "No App Id specified!");
        return std::nullopt;
    }
    const std::string fileName = "liborn" + boost::algorithm::to_lower_copy(appName) + ".so";
    if (identity_->IsManagedApp()) {
        return FindApp("GetNativeAppLib", {DevicePaths::SystemNativeAppDirectory() / fileName});
    }
    return FindApp(
        "GetNativeAppLib",
        {DevicePaths::UserNativeAppDirectory() / fileName,
         DirectoryInForce(DevicePaths::SystemNativeAppDirectory(), configuration_.GetRootPathNativeApp()) / fileName});
}

std::optional<path> AppLocator::FindApp(const char* caller, const Candidates& candidates) const {
    for (const path& candidate : candidates) {
        if (IsRegularFile(candidate)) {
            ORN_LOG_AS(caller, log_, DEBUG, "Found app at: " << candidate.string());
            return candidate;
        }
    }
    for (const path& candidate : candidates) {
        ORN_LOG_AS(caller, log_, DEBUG, "Failed to find app at: " << candidate.string());
    }
    return std::nullopt;
}

path AppLocator::DirectoryInForce(const path& standard, const std::optional<std::string>& debugDirectory) const {
    return configuration_.IsInAppDebugMode() && debugDirectory ? path(*debugDirectory) : standard;
}

}  // namespace Zandrel
