#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "LauncherGraces.h"

namespace LocalDevice {

/// The program `localdevice`: obeys its command line and says on the standard error what went wrong, in one line.
/// Returns the exit code: 0, 1 for a failure, 2 for a wrong command line.
///
/// `programDirectory`: the folder in which the launcher lies among the other programs.
int RunLocalDevice(const boost::filesystem::path& programDirectory, const std::vector<std::string>& arguments,
                   const LauncherGraces& graces = {});

}  // namespace LocalDevice
