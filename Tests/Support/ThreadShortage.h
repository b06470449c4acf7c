#pragma once

namespace TestSupport {

/// While it lives, the process gets no new threads, or a few more and then none: pthread_create fails with EAGAIN.
class ThreadShortage {
public:
    explicit ThreadShortage(long left = 0);
    ~ThreadShortage();
    ThreadShortage(const ThreadShortage&) = delete;
    ThreadShortage& operator=(const ThreadShortage&) = delete;
};

}  // namespace TestSupport
