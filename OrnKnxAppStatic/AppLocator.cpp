#include "AppLocator.h"

#include <array>
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

AppLocator::AppLocator(PrefixedLogger log, const AppHostConfiguration& configuration)
    : log_(std::move(log)), configuration_(configuration) {}

std::optional<path> AppLocator::GetAppHost() const {
    const path directory = DirectoryInForce(DevicePaths::AppHostDirectory(), configuration_.GetRootPathAppHost());
    path program = directory / "ornapphost";
    ORN_LOG(log_, INFO, "Try to find app host " << program.string());
    if (!IsRegularFile(program)) {
        return std::nullopt;
    }
    return program;
}

std::optional<path> AppLocator::GetNativeAppLib(const std::string& appName) const {
    if (appName.empty()) {
        ORN_LOG(log_, ERROR, "No App Id specified!");
        return std::nullopt;
    }
    const std::string fileName = "liborn" + boost::algorithm::to_lower_copy(appName) + ".so";
    const std::array<path, 2> candidates{
        DevicePaths::UserNativeAppDirectory() / fileName,
        DirectoryInForce(DevicePaths::SystemNativeAppDirectory(), configuration_.GetRootPathNativeApp()) / fileName};
    for (const path& candidate : candidates) {
        if (IsRegularFile(candidate)) {
            ORN_LOG(log_, DEBUG, "Found app at: " << candidate.string());
            return candidate;
        }
    }
    for (const path& candidate : candidates) {
        ORN_LOG(log_, DEBUG, "Failed to find app at: " << candidate.string());
    }
    return std::nullopt;
}

path AppLocator::DirectoryInForce(const path& standard, const std::optional<std::string>& debugDirectory) const {
    return configuration_.IsInAppDebugMode() && debugDirectory ? path(*debugDirectory) : standard;
}

}  // namespace Zandrel
