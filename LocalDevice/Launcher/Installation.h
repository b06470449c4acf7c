#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace LocalDevice {

/// Where the parts of the local device lie, seen from the launcher's own program.
class Installation {
public:
    /// `programDirectory`: the launcher's folder. Throws `std::runtime_error`, one line, where a part is missing.
    explicit Installation(const boost::filesystem::path& programDirectory);

    std::string DeviceStack() const { return (programs_ / "devicestack").string(); }
    std::string KnxStackHost() const { return (programs_ / "knxstackhost").string(); }
    std::string PluginLibrary() const;

    // Of a managed app; they need not be there.
    std::string AppHost() const;
    std::string AppConnectorHost() const;
    std::string ConnectorLibrary() const;
    std::string ManagedApp(const std::string& appId) const;

    /// The description of a device: `nameOrFile` is a file where it holds a "/" or ends in ".json", and the name of a
    /// delivered device otherwise. Throws `OptionsError` for an unknown name.
    std::string FindDescription(const std::string& nameOrFile) const;

    /// The demo that belongs to a description.
    static std::string DemoOf(const std::string& description);

private:
    std::string KnownDevices() const;

    const boost::filesystem::path programs_;
    const boost::filesystem::path root_;
    const boost::filesystem::path deviceRoot_;
};

/// The folder of the running program.
boost::filesystem::path GetProgramDirectory();

}  // namespace LocalDevice
