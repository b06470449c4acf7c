#pragma once

#include <boost/filesystem/path.hpp>

/// The fixed places of the device. Those under "/opt" stand below the folder ORN_DEVICE_ROOT of the build, which is
/// empty on a device.
namespace Zandrel::DevicePaths {

boost::filesystem::path AppHostDirectory();  ///< of the connector host, too
boost::filesystem::path UserManagedAppDirectory();
boost::filesystem::path SystemManagedAppDirectory();
boost::filesystem::path UserNativeAppDirectory();
boost::filesystem::path SystemNativeAppDirectory();
boost::filesystem::path CaCertificate();  ///< of the authority that vouches for app developers

}  // namespace Zandrel::DevicePaths
