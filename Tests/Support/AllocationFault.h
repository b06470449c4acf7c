#pragma once

namespace TestSupport {

/// While it lives, the next allocation of its thread fails with `std::bad_alloc`; later ones work again.
class AllocationFault {
public:
    AllocationFault();
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether an allocation has failed.
    bool HasHappened() const;
};

}  // namespace TestSupport
