#include "FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "PackageError.h"

namespace LocalDevice {

FolderLock::FolderLock(const boost::filesystem::path& folder, Kind kind)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor_ < 0) {
        throw Unexpected("cannot open " + folder.string() + ": " + std::generic_category().message(errno));
    }
    if (flock(descriptor_, (kind == Kind::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        close(descriptor_);
        throw Unexpected("another ornpackage is at work in " + folder.string());
    }
}

FolderLock::~FolderLock() {
    close(descriptor_);
}

}  // namespace LocalDevice
