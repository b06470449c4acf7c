#pragma once

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>

#include "OrnPackageFixture.h"

namespace OrnPackage {

/// Tells when a file is opened and closed, by inotify(7).
class FileWatch {
public:
    explicit FileWatch(const std::string& file) {
        if (inotify_add_watch(descriptor_, file.c_str(), IN_OPEN | IN_CLOSE) < 0) {
            throw std::system_error(errno, std::generic_category(), file);
        }
    }
    ~FileWatch() { close(descriptor_); }
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    /// Waits for an event, `IN_CLOSE_WRITE` for example, and passes over those before it; false when none comes.
    bool WaitFor(std::uint32_t mask, std::chrono::milliseconds limit = RunLimit) const {
        pollfd readable{descriptor_, POLLIN, 0};
        inotify_event event{};  // without a name: what is watched is a file
        while (poll(&readable, 1, static_cast<int>(limit.count())) > 0 &&
               read(descriptor_, &event, sizeof(event)) == sizeof(event)) {
            if ((event.mask & mask) != 0) {
                return true;
            }
        }
        return false;
    }

private:
    const int descriptor_ = inotify_init1(IN_CLOEXEC);
};

}  // namespace OrnPackage
