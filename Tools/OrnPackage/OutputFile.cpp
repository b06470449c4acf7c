#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "PackageError.h"

namespace LocalDevice {

OutputFile::OutputFile(boost::filesystem::path path, mode_t permissions)
    : path_(std::move(path)),
      descriptor_(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_EXCL, permissions)) {
    if (descriptor_ < 0) {
        ThrowSystemError();
    }
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

void OutputFile::Write(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = write(descriptor_, data, size);
        if (count < 0 && errno != EINTR) {
            ThrowSystemError();
        }
        const std::size_t written = count > 0 ? static_cast<std::size_t>(count) : 0;
        data += written;
        size -= written;
    }
}

void OutputFile::Close() {
    if (close(std::exchange(descriptor_, -1)) != 0) {
        ThrowSystemError();
    }
}

void OutputFile::ThrowSystemError() const {
    throw CannotWrite(path_.string(), std::generic_category().message(errno));
}

}  // namespace LocalDevice
