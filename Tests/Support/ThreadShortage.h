#pragma once

namespace TestSupport {

/// While it lives, the process gets no new threads: pthread_create fails with EAGAIN.
class ThreadShortage {
public:
    ThreadShortage();
    ~ThreadShortage();
    ThreadShortage(const ThreadShortage&) = delete;
    ThreadShortage& operator=(const ThreadShortage&) = delete;
};

}  // namespace TestSupport
