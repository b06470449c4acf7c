#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace LocalDevice {

/// Wakes a thread that polls.
class Waker {
public:
    Waker() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (descriptor_ == -1) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~Waker() { close(descriptor_); }
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    int GetDescriptor() const { return descriptor_; }

    // Neither can fail in a way that matters: a full counter wakes too, an empty one is reset already.
    void Wake() { eventfd_write(descriptor_, 1); }
    void Reset() {
        eventfd_t count = 0;
        eventfd_read(descriptor_, &count);
    }

private:
    const int descriptor_;
};

}  // namespace LocalDevice
