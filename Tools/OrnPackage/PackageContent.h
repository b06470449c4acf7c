#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace LocalDevice {

/// The files of an app directory that a list must name.
struct PackageContent {
    std::vector<std::string> names;  ///< below the directory, sorted
    std::uint64_t bytes = 0;         ///< of all of them
};

/// Collects them. Throws `PackageError` where there is something that no package may hold (a link, a device, an empty
/// directory) or a directory cannot be read.
PackageContent CollectContent(const boost::filesystem::path& directory);

/// The bytes that a check of the directory reads, about; for a progress bar.
std::uint64_t EstimateBytes(const boost::filesystem::path& directory);

}  // namespace LocalDevice
