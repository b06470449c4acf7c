#include "AllocationFault.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool isDue = false;
thread_local unsigned left = 0;  ///< before it
thread_local unsigned made = 0;

}  // namespace

// The program's own ones go before those of the C++ library, also for the libraries that it uses.
// NOLINTBEGIN(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory): this is where memory comes from

void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
    ++made;
    if (isDue && left-- == 0) {
        isDue = false;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
    if (void* const memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// NOLINTEND(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)

namespace TestSupport {

AllocationFault::AllocationFault(unsigned good) {
    left = good;
    isDue = true;
}

AllocationFault::~AllocationFault() {
    isDue = false;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): it is asked of the one that lives
bool AllocationFault::HasHappened() const {
    return !isDue;
}

unsigned CountAllocations() {
    return made;
}

}  // namespace TestSupport
