#pragma once

#include <boost/filesystem/path.hpp>

namespace LocalDevice {

/// The root folder of the device that belongs to the programs in `programDirectory`: "root" beside that folder in a
/// build, this machine's own where they are installed.
boost::filesystem::path FindDeviceRoot(const boost::filesystem::path& programDirectory);

}  // namespace LocalDevice
