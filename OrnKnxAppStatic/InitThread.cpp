#include "InitThread.h"

#include <cstdint>
#include <exception>
#include <utility>

#include "ApplicationCore.h"
#include "ContainExceptions.h"
#include "DeviceStackConfigurationIndicator.h"
#include "KnxStack/IApiHub.h"

// The lines of a cycle carry the name of the thread's function, whichever step writes them.
#define ORN_LOG_CYCLE(LEVEL, message) ORN_LOG_AS("operator()", core_->log, LEVEL, message)

namespace Zandrel {

namespace {

constexpr std::uint16_t ApplicationObjectType = 40960;

}  // namespace

InitThread::InitThread(std::shared_ptr<ApplicationCore> core, std::shared_ptr<ThreadControl> control,
                       std::shared_ptr<Finalizer> finalizer)
    : core_(std::move(core)), control_(std::move(control)), finalizer_(std::move(finalizer)) {}

void InitThread::operator()() {
    try {
        RunCycle();
    } catch (const boost::thread_interrupted&) {
        ContainExceptions(core_->log, "operator()", [this] {
            ORN_LOG_CYCLE(DEBUG, "Thread has been interrupted.");
            return true;
        });
    } catch (const std::exception& error) {
        LogException(core_->log, "operator()", error);
    }
}

void InitThread::RunCycle() {
    HandlerLock lock(core_->knxHandler.GetLoadState().GetMutex(), boost::defer_lock);
    // Released before the lock: the next cycle that gets the mutex finds this one's restart over.
    const std::shared_ptr<Finalizer> finalizer = std::move(finalizer_);

    if (!LockHandler(lock)) {
        ORN_LOG_CYCLE(INFO, "Finishing init thread as it has been requested to stop.");
        return;
    }
    core_->knxHandler.ResetApplicationProgram1Memory();
    WaitForLoadStateChange(lock);
    if (!core_->knxHandler.IsLoadStateMachineLoaded(ApplicationObjectType)) {
        ORN_LOG_CYCLE(INFO, "Init thread aborted because app prg interface object is currently unloaded.");
        return;
    }
    ORN_LOG_CYCLE(DEBUG, "Thread started.");
    if (!control_->running) {
        ORN_LOG_CYCLE(INFO, "Finishing init thread as it has been requested to stop.");
        return;
    }
    if (!core_->knxHandler.IsLoadStateMachineLoaded()) {
        ORN_LOG_CYCLE(INFO, "Load state machines not loaded. This is normal during a download.");
    } else {
        bool memoryReady = false;
        const bool hubIsOpen = core_->hub.With([this, &memoryReady](KnxStack::IApiHub& hub) {
            memoryReady = core_->knxHandler.InitApplicationProgram1Memory(hub);
        });
        if (!hubIsOpen) {
            ORN_LOG_CYCLE(INFO, "Finishing init thread as it has been requested to stop.");
            return;
        }
        if (!memoryReady) {
            ORN_LOG_CYCLE(FATAL, "Failed to init AppPrg1 memory!");
            core_->hub.With([](KnxStack::IApiHub& hub) { hub.SetRunState(false); });
            return;
        }
        const bool launched =
            ReportRunState(ContainExceptions(core_->log, "operator()", [this] { return ConfigureAndLaunch(); }));
        if (control_->running && launched) {
            ORN_LOG_CYCLE(DEBUG, "Starting reset timer.");
            core_->deviceResetTimer.StartDeviceResetTimer(*control_);
        }
    }
    ORN_LOG_CYCLE(DEBUG, "Thread finished.");
}

bool InitThread::LockHandler(HandlerLock& lock) const {
    // A cycle that was detached still holds the mutex, for as long as its last request takes.
    while (!lock.try_lock()) {
        if (!control_->running) {
            return false;
        }
        core_->clock->SleepFor(Durations::HandlerMutexPoll);
    }
    return true;
}

void InitThread::WaitForLoadStateChange(HandlerLock& lock) const {
    core_->knxHandler.GetLoadState().WaitForChange(lock, *core_->clock,
                                                   core_->clock->Now() + Durations::LoadStateChangeWait);
}

bool InitThread::ConfigureAndLaunch() const {
    ORN_LOG_CYCLE(DEBUG, "Start to configure object model.");
    if (!ContainExceptions(core_->log, "ConfigureObjectModel",
                           [this] { return core_->configurator.ConfigureObjectModel(*control_); })) {
        if (control_->running) {
            ORN_LOG_CYCLE(FATAL, "Failed to configure object model");
        }
        return false;
    }
    if (!control_->running) {
        ORN_LOG_CYCLE(INFO,
                      "Init thread canceled because app prg interface object is currently unloaded, did not start "
                      "AppHost.");
        return true;
    }
    return Launch();
}

bool InitThread::Launch() const {
    core_->connection.SetEventHandler(core_->eventHandler);
    if (core_->processControl.GetConfiguration().IsAppHostStartupDisabled()) {
        ORN_LOG_CYCLE(DEBUG, "Debug mode set, did not launch app host!");
        return true;
    }
    core_->appControl.EndRunStateOfEarlierApp(*control_);
    if (!control_->running) {
        ORN_LOG_CYCLE(INFO,
                      "Init thread canceled because app prg interface object is currently unloaded, did not start "
                      "AppHost.");
        return true;
    }
    SignalConfigurationLoaded(core_->connection, core_->log);
    ORN_LOG_CYCLE(DEBUG, "Launch app host.");
    if (!ContainExceptions(core_->log, "LaunchApp", [this] { return core_->appLauncher.LaunchApp(*control_); })) {
        IndicateAppNotRunning(core_->processControl.GetIpcClient(), core_->connection, core_->log);
        return false;
    }
    return true;
}

bool InitThread::ReportRunState(bool launched) const {
    if (!control_->running) {
        return launched;
    }
    // A line that cannot be built keeps no run state from the KNX stack.
    ContainExceptions(core_->log, "operator()", [this, launched] {
        if (launched) {
            ORN_LOG_CYCLE(DEBUG, "Set runstate to running");
        } else {
            SignalConfigurationUnloaded(core_->connection, core_->log);
            ORN_LOG_CYCLE(FATAL, "Set runstate to error");
        }
        return true;
    });
    core_->hub.With([this, launched](KnxStack::IApiHub& hub) {
        if (control_->running) {
            hub.SetRunState(launched);
        }
    });
    const auto logicalDevice = core_->identity->GetLogicalDeviceId();
    if (!logicalDevice) {
        ORN_LOG_CYCLE(FATAL, "Missing logical device ID");
        return false;
    }
    if (!core_->appControl.SignalAppHostKnxCommunicationState(*logicalDevice, launched)) {
        ORN_LOG_CYCLE(FATAL, "Failed to signal app host that knx group object communication is "
                                 << (launched ? "" : "un") << "available");
    }
    return launched;
}

}  // namespace Zandrel
