#include "DeviceRoot.h"

#include <boost/filesystem/operations.hpp>

namespace LocalDevice {

boost::filesystem::path FindDeviceRoot(const boost::filesystem::path& programDirectory) {
    const boost::filesystem::path ofBuild = programDirectory.parent_path() / "root";
    boost::system::error_code ignored;  // whatever the reason, there is no such folder to use
    return boost::filesystem::is_directory(ofBuild, ignored) ? ofBuild : "/";
}

}  // namespace LocalDevice
