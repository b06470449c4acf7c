#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace TestSupport {

/// Leaves the process only so many descriptors above the lowest free one, for as long as it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t spare) {
        const int lowestFree = dup(STDERR_FILENO);
        close(lowestFree);
        getrlimit(RLIMIT_NOFILE, &previous_);
        const rlimit limit{static_cast<rlim_t>(lowestFree) + spare, previous_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &previous_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit previous_{};
};

}  // namespace TestSupport
