#pragma once

namespace TestSupport {

/// While it lives, one allocation of its thread fails with `std::bad_alloc`; later ones work again.
class AllocationFault {
public:
    /// The one that fails comes after `good` others.
    explicit AllocationFault(unsigned good = 0);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether an allocation has failed.
    bool HasHappened() const;
};

/// How many allocations the calling thread has made. For differences.
unsigned CountAllocations();

}  // namespace TestSupport
