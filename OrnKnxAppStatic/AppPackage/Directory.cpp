#include "Directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

namespace Zandrel {

namespace {

Directory::Type GetType(int directory, const char* name) {
    struct stat status {};
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return Directory::Type::Other;
    }
    if (S_ISDIR(status.st_mode)) {
        return Directory::Type::Directory;
    }
    return S_ISREG(status.st_mode) ? Directory::Type::RegularFile : Directory::Type::Other;
}

}  // namespace

std::optional<Directory::Entry> Directory::GetNext() {
    while (directory_ != nullptr && !isRead_) {
        errno = 0;
        const dirent* const entry = readdir(directory_.get());
        if (entry == nullptr) {
            isRead_ = errno == 0;
            break;
        }
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            return Entry{std::string(name), GetType(dirfd(directory_.get()), entry->d_name)};
        }
    }
    return std::nullopt;
}

}  // namespace Zandrel
