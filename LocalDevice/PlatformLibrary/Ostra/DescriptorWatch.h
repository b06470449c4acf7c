#pragma once

namespace Ostra {

/// Lets one thread sleep until a descriptor that another one watches for it is readable. Costs no change of threads as
/// long as nothing comes. Thread-safe.
class DescriptorWatch {
public:
    /// Throws `std::system_error`.
    DescriptorWatch();
    ~DescriptorWatch();
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;

    /// Lets `Wait` return, once, when `descriptor` is or becomes readable or its peer is gone. False where that cannot
    /// be had.
    bool Watch(int descriptor);
    /// Without effect on a descriptor that is not watched or closed meanwhile.
    void Forget(int descriptor);

    /// Lets the next `Wait`, or the one that is waiting, return.
    void Wake();

    /// Waits for what `Watch` or `Wake` said. May also return for something that is over by now. For one thread.
    void Wait();

private:
    const int epoll_;
    const int wake_;
};

}  // namespace Ostra
