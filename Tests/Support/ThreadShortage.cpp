#include "ThreadShortage.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <limits>

namespace {

constexpr long NoLimit = std::numeric_limits<long>::max();

/// How many threads the process still gets.
std::atomic<long> threadsLeft{NoLimit};

bool TakeThread() {
    long left = threadsLeft;
    while (left != NoLimit && left > 0 && !threadsLeft.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
}

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// The program's own one goes before that of the C library, also for the libraries that it uses.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are other ones
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*start)(void*), void* argument) noexcept {
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return TakeThread() ? create(thread, attributes, start, argument) : EAGAIN;
}

namespace TestSupport {

ThreadShortage::ThreadShortage(long left) {
    threadsLeft = left;
}

ThreadShortage::~ThreadShortage() {
    threadsLeft = NoLimit;
}

}  // namespace TestSupport
