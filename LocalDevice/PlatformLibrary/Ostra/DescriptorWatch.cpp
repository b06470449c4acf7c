#include "DescriptorWatch.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Ostra {
namespace {

int Checked(int descriptor, const char* what) {
    if (descriptor == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

epoll_event MakeEvent(int descriptor, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    return event;
}

}  // namespace

DescriptorWatch::DescriptorWatch()
    : epoll_(Checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    auto event = MakeEvent(wake_, EPOLLIN);
    if (wake_ == -1 || epoll_ctl(epoll_, EPOLL_CTL_ADD, wake_, &event) == -1) {
        const int error = errno;
        close(wake_);
        close(epoll_);
        throw std::system_error(error, std::generic_category(), "eventfd");
    }
}

DescriptorWatch::~DescriptorWatch() {
    close(wake_);
    close(epoll_);
}

// A descriptor stays known once it was watched: to change what is watched costs less than to begin and to end it.
bool DescriptorWatch::Watch(int descriptor) {
    auto event = MakeEvent(descriptor, EPOLLIN | EPOLLRDHUP | EPOLLONESHOT);
    return epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event) == 0 ||
           (errno == ENOENT && epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) == 0);
}

void DescriptorWatch::Forget(int descriptor) {
    auto event = MakeEvent(descriptor, EPOLLONESHOT);
    epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event);
}

// Neither can fail in a way that matters: a full counter wakes too, an empty one is reset already.
void DescriptorWatch::Wake() {
    eventfd_write(wake_, 1);
}

void DescriptorWatch::Wait() {
    constexpr int Forever = -1;
    epoll_event event{};
    if (epoll_wait(epoll_, &event, 1, Forever) == 1 && event.data.fd == wake_) {
        eventfd_t count = 0;
        eventfd_read(wake_, &count);
    }
}

}  // namespace Ostra
