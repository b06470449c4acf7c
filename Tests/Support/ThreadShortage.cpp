#include "ThreadShortage.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> isShort{false};

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// The program's own one goes before that of the C library, also for the libraries that it uses.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*start)(void*), void* argument) noexcept {
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return isShort ? EAGAIN : create(thread, attributes, start, argument);
}

namespace TestSupport {

ThreadShortage::ThreadShortage() {
    isShort = true;
}

ThreadShortage::~ThreadShortage() {
    isShort = false;
}

}  // namespace TestSupport
