#include "MutexShortage.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <limits>

namespace {

constexpr long NoLimit = std::numeric_limits<long>::max();

/// How many mutexes the thread still gets.
thread_local long mutexesLeft = NoLimit;
thread_local bool wasRefused = false;

bool TakeMutex() {
    if (mutexesLeft == NoLimit) {
        return true;
    }
    if (mutexesLeft == 0) {
        wasRefused = true;
        return false;
    }
    --mutexesLeft;
    return true;
}

using Init = int (*)(pthread_mutex_t*, const pthread_mutexattr_t*);

}  // namespace

// The program's own one goes before that of the C library, also for the libraries that it uses.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are other ones
extern "C" __attribute__((visibility("default"))) int pthread_mutex_init(
    pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    static const auto init = reinterpret_cast<Init>(dlsym(RTLD_NEXT, "pthread_mutex_init"));
    return TakeMutex() ? init(mutex, attributes) : ENOMEM;
}

namespace TestSupport {

MutexShortage::MutexShortage(long left) {
    wasRefused = false;
    mutexesLeft = left;
}

MutexShortage::~MutexShortage() {
    mutexesLeft = NoLimit;
}

bool MutexShortage::HasHappened() {
    return wasRefused;
}

}  // namespace TestSupport
