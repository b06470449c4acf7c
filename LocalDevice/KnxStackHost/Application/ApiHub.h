#pragma once

#include <atomic>
#include <cstdint>

#include "GroupObjects/GroupObjectService.h"
#include "InterfaceObjects/ApplicationMemory.h"
#include "InterfaceObjects/InterfaceObjects.h"
#include "KnxStack/IApiHub.h"
#include "Output/HostEvents.h"

namespace LocalDevice {

/// What the application program gets of the stack. Thread-safe. Notices the beginning of an init cycle: it takes the
/// application memory.
class ApiHub final : public KnxStack::IApiHub {
public:
    ApiHub(InterfaceObjects& objects, ApplicationMemory& memory, GroupObjectService& groupObjects, HostEvents& events);

    KnxStack::IGroupValueService* GetGroupValueService() override { return &groupObjects_; }
    KnxStack::IPropertyService* GetPropertyService() override { return &objects_; }
    KnxStack::IMemory* GetApplicationPrg1Memory() override;
    void SetRunState(bool running) override;

    /// The application memory has been loaded once.
    void OnMemoryLoaded() { isMemoryLoaded_ = true; }

    /// The application program is started or stopped: its run state is unknown.
    void ForgetRunState() { ChangeRunState(RunState::Unknown); }
    RunState GetRunState() const { return runState_; }

    /// How many init cycles have begun, and how often a run state was reported.
    std::uint64_t GetCycleCount() const { return cycles_; }
    std::uint64_t GetRunStateCount() const { return runStates_; }
    /// How often an init cycle has looked whether the application is loaded.
    std::uint64_t GetLoadCheckCount() const;

private:
    void ChangeRunState(RunState state);

    InterfaceObjects& objects_;
    ApplicationMemory& memory_;
    GroupObjectService& groupObjects_;
    HostEvents& events_;

    std::atomic<bool> isMemoryLoaded_{false};
    std::atomic<RunState> runState_{RunState::Unknown};
    std::atomic<std::uint64_t> cycles_{0};
    std::atomic<std::uint64_t> runStates_{0};
};

}  // namespace LocalDevice
