#pragma once

#include <pthread.h>

#include <csignal>

namespace LocalDevice {

/// While it lives, a user or a system that ends the program waits: for steps that belong together. Of one thread; the
/// others of the program take no signals.
class SignalBlock {
public:
    SignalBlock() noexcept {
        sigset_t ends;
        sigemptyset(&ends);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            sigaddset(&ends, signal);
        }
        pthread_sigmask(SIG_BLOCK, &ends, &before_);
    }
    ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t before_{};
};

}  // namespace LocalDevice
