#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/shared_mutex.hpp>

#include "KnxStack/IApiHub.h"

namespace Zandrel {

/// The host's service hub for as long as the application program may use it. Thread-safe.
///
/// An init cycle that outlives the host's patience goes on in the background; what it asks of a hub that was closed
/// does nothing.
class StackHub {
public:
    void Open(KnxStack::IApiHub& hub) {
        const boost::unique_lock<boost::shared_mutex> lock(mutex_);
        hub_ = &hub;
    }

    /// On return nobody uses the hub any more.
    void Close() {
        const boost::unique_lock<boost::shared_mutex> lock(mutex_);
        hub_ = nullptr;
    }

    /// Calls `use` with the hub and returns true; false when it is closed.
    template <typename Use>
    bool With(const Use& use) const {
        const boost::shared_lock<boost::shared_mutex> lock(mutex_);
        if (hub_ == nullptr) {
            return false;
        }
        use(*hub_);
        return true;
    }

private:
    mutable boost::shared_mutex mutex_;
    KnxStack::IApiHub* hub_ = nullptr;
};

}  // namespace Zandrel
