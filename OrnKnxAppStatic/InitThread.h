#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <memory>

#include "Orn/Finalizer.h"
#include "Orn/ThreadControl.h"

namespace Zandrel {

struct ApplicationCore;

/// One init cycle, as the function of its thread: waits for the KNX side to settle, publishes the object model,
/// launches the app and reports the run state. It holds the KNX handler's mutex for the whole cycle.
///
/// It leaves early once `ThreadControl::running` is false, at the next step or interruption point. No exception leaves
/// it.
class InitThread {
public:
    /// `finalizer` is released when the cycle ends, whichever way it does.
    InitThread(std::shared_ptr<ApplicationCore> core, std::shared_ptr<ThreadControl> control,
               std::shared_ptr<Finalizer> finalizer);

    void operator()();

private:
    using HandlerLock = boost::unique_lock<boost::mutex>;

    void RunCycle();
    bool LockHandler(HandlerLock& lock) const;
    void WaitForLoadStateChange(HandlerLock& lock) const;
    bool ConfigureAndLaunch() const;
    bool Launch() const;
    bool ReportRunState(bool launched) const;

    std::shared_ptr<ApplicationCore> core_;
    std::shared_ptr<ThreadControl> control_;
    std::shared_ptr<Finalizer> finalizer_;
};

}  // namespace Zandrel
