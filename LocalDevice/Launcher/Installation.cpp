#include "Installation.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <set>
#include <stdexcept>

#include "DeviceRoot.h"
#include "Options.h"

namespace LocalDevice {

namespace fs = boost::filesystem;
using boost::algorithm::ends_with;

namespace {

constexpr const char* DescriptionEnding = ".json";
constexpr const char* DemoEnding = ".demo.json";

}  // namespace

Installation::Installation(const fs::path& programDirectory)
    : programs_(programDirectory),
      root_(programDirectory.parent_path()),
      deviceRoot_(FindDeviceRoot(programDirectory)) {
    for (const std::string& part : {DeviceStack(), KnxStackHost(), PluginLibrary()}) {
        if (!fs::is_regular_file(part)) {
            throw std::runtime_error(part + ": missing; build the whole project first");
        }
    }
}

std::string Installation::PluginLibrary() const {
    return (root_ / "lib" / "libOrnKnxAppPrg.so").string();
}

std::string Installation::AppHost() const {
    return (deviceRoot_ / "opt/ostra/bin/ornapphost").string();
}

std::string Installation::AppConnectorHost() const {
    return (deviceRoot_ / "opt/ostra/bin/OrnAppConnectorHost.exe").string();
}

std::string Installation::ConnectorLibrary() const {
    return (deviceRoot_ / "opt/ostra/lib/libornconnectorapp.so").string();
}

std::string Installation::ManagedApp(const std::string& appId) const {
    return (deviceRoot_ / "opt/userdata/ornApp/1" / appId).replace_extension(".dll").string();
}

std::string Installation::FindDescription(const std::string& nameOrFile) const {
    if (nameOrFile.find('/') != std::string::npos || ends_with(nameOrFile, DescriptionEnding)) {
        return nameOrFile;
    }
    const fs::path description = root_ / "devices" / (nameOrFile + DescriptionEnding);
    if (!fs::exists(description)) {
        throw OptionsError("unknown device \"" + nameOrFile + "\", expected a file or one of " + KnownDevices());
    }
    return description.string();
}

std::string Installation::DemoOf(const std::string& description) {
    return fs::path(description).replace_extension(DemoEnding).string();
}

std::string Installation::KnownDevices() const {
    std::set<std::string> names;
    boost::system::error_code ignored;
    for (const auto& entry : fs::directory_iterator(root_ / "devices", ignored)) {
        const std::string name = entry.path().filename().string();
        if (ends_with(name, DescriptionEnding) && !ends_with(name, DemoEnding)) {
            names.insert(entry.path().stem().string());
        }
    }
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

fs::path GetProgramDirectory() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace LocalDevice
