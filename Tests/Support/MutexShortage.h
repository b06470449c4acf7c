#pragma once

namespace TestSupport {

/// While it lives, the thread gets no new mutexes, or a few more and then none: pthread_mutex_init fails with ENOMEM.
class MutexShortage {
public:
    explicit MutexShortage(long left = 0);
    ~MutexShortage();
    MutexShortage(const MutexShortage&) = delete;
    MutexShortage& operator=(const MutexShortage&) = delete;

    /// Whether a mutex was refused.
    static bool HasHappened();
};

}  // namespace TestSupport
