#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <utility>

namespace KnxStack {
class IGroupValueService;
class IInterfaceObject;
class IMemory;
class IPropertyService;
}  // namespace KnxStack

namespace Zandrel {

/// What the plug-in uses of the KNX stack. The stack owns all of it; null is what is not there, or not any more.
struct StackObjects {
    KnxStack::IGroupValueService* groupValueService = nullptr;
    KnxStack::IPropertyService* propertyService = nullptr;
    KnxStack::IInterfaceObject* parameterProperties = nullptr;  ///< the application's own interface object
    KnxStack::IMemory* appPrg1Memory = nullptr;
};

/// The one way to the KNX stack, open from `Attach` to `Detach`. Thread-safe.
///
/// The stack may be used for as long as a lease is held, and `Detach` waits for all leases. Therefore a lease is held
/// briefly, no thread takes a second one, and while it holds one a thread waits for no other lock of the plug-in.
class StackAccess {
public:
    template <typename Lock, typename Objects>
    class Lease {
    public:
        Lease(boost::shared_mutex& mutex, Objects& objects) : lock_(mutex), objects_(&objects) {}
        Objects* operator->() const noexcept { return objects_; }

    private:
        Lock lock_;
        Objects* objects_;
    };
    using SharedLease = Lease<boost::shared_lock<boost::shared_mutex>, const StackObjects>;
    using ExclusiveLease = Lease<boost::unique_lock<boost::shared_mutex>, StackObjects>;

    void Attach(const StackObjects& objects) { *ExclusiveLease(mutex_, objects_).operator->() = objects; }

    /// Closes the way and returns where it led. On return nobody uses the stack any more.
    StackObjects Detach() { return std::exchange(*ExclusiveLease(mutex_, objects_).operator->(), StackObjects{}); }

    /// To use the stack.
    SharedLease Use() const { return {mutex_, objects_}; }
    /// To change what is used of it.
    ExclusiveLease Change() { return {mutex_, objects_}; }

private:
    mutable boost::shared_mutex mutex_;  ///< guards objects_
    StackObjects objects_;
};

}  // namespace Zandrel
