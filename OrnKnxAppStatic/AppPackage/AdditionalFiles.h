#pragma once

#include <boost/filesystem/path.hpp>

#include "FileHasher.h"
#include "ListedPaths.h"

namespace Zandrel {

/// Whether a directory holds nothing but what is listed, down to the last listed directory. Every entry that should not
/// be there has a line in the log, in no particular order; what lies below such a directory is not looked at.
/// `progress` hears of each entry, with 0; what it throws ends the look.
bool LookForAdditionalFiles(const boost::filesystem::path& appDirectory, const ListedPaths& listed,
                            const HashProgress& progress = {});

}  // namespace Zandrel
