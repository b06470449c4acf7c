#pragma once

#include <boost/filesystem/path.hpp>

namespace LocalDevice {

/// Keeps other runs of the program from a folder, by flock(2) on the folder itself: it leaves no file, and it ends with
/// the process at the latest. Where the file system knows no such locks, nobody is kept away.
class FolderLock {
public:
    /// Many may share a folder, or one has it for itself.
    enum class Kind { Shared, Exclusive };

    /// Waits for nobody. Throws `PackageError` where another run has the folder, or it cannot be opened.
    FolderLock(const boost::filesystem::path& folder, Kind kind);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    const int descriptor_;
};

}  // namespace LocalDevice
