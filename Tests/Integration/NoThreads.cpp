// A program that links this gets no thread, from before its libraries are initialised on.

#include <pthread.h>

#include <cerrno>

// The program's own one goes before that of the C library, also for the libraries that it uses.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* /*thread*/,
                                                                     const pthread_attr_t* /*attributes*/,
                                                                     void* (*)(void*), void* /*argument*/) noexcept {
    return EAGAIN;
}
