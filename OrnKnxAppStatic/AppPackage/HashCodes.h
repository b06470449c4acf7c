#pragma once

#include <boost/filesystem/path.hpp>
#include <vector>

#include "FileHasher.h"
#include "FileList.h"
#include "ListedPaths.h"

namespace Zandrel {

/// Checks the files of a list, in its order, against their sums, and adds their names to `listed`. Stops with false,
/// and a line in the log, at the first entry that is wrong.
bool CheckHashCodes(const std::vector<FileEntry>& fileList, const boost::filesystem::path& appDirectory,
                    ListedPaths& listed, FileHasher& hasher);

/// Whether a file has this sum; false, with a line in the log, also where it cannot be read.
bool VerifyHashCode(const boost::filesystem::path& path, const Sha256Digest& expected, FileHasher& hasher);

}  // namespace Zandrel
