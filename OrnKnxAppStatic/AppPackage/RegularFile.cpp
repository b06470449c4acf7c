#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Zandrel {

std::optional<RegularFile> RegularFile::Open(const boost::filesystem::path& path, Links links) {
    const bool follows = links == Links::Followed;
    // Looked at first: opening a device can have an effect of its own.
    struct stat status {};
    if (fstatat(AT_FDCWD, path.c_str(), &status, follows ? 0 : AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    // And looked at again: it may have been replaced meanwhile, by a pipe for example.
    const int descriptor =
        open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (follows ? 0 : O_NOFOLLOW));
    if (descriptor < 0) {
        return std::nullopt;
    }
    RegularFile file(descriptor, 0);
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    file.size_ = static_cast<std::uint64_t>(status.st_size);
    return file;
}

RegularFile::~RegularFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), size_(other.size_) {}

std::optional<std::size_t> RegularFile::Read(char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = read(descriptor_, buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(count);
}

std::optional<std::string> ReadWholeFile(const boost::filesystem::path& path, RegularFile::Links links,
                                         std::size_t limit) {
    std::optional<RegularFile> file = RegularFile::Open(path, links);
    if (!file || file->GetSize() > limit) {
        return std::nullopt;
    }
    // One byte more than it holds, so that the end is seen; a file that grows meanwhile counts as unreadable.
    std::string content(static_cast<std::size_t>(file->GetSize()) + 1, '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const std::optional<std::size_t> count = file->Read(&content[length], content.size() - length);
        if (!count) {
            return std::nullopt;
        }
        if (*count == 0) {
            content.resize(length);
            return content;
        }
        length += *count;
    }
    return std::nullopt;
}

}  // namespace Zandrel
