#pragma once

#include <boost/filesystem/path.hpp>

/// The fixed places of the device. Those under "/opt" stand below the folder ORN_DEVICE_ROOT of the build, which is
/// empty on a device.
namespace Zandrel::DevicePaths {

boost::filesystem::path AppHostDirectory();
boost::filesystem::path UserNativeAppDirectory();
boost::filesystem::path SystemNativeAppDirectory();

}  // namespace Zandrel::DevicePaths
