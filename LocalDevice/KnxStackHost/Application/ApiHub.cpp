#include "Application/ApiHub.h"

namespace LocalDevice {

ApiHub::ApiHub(InterfaceObjects& objects, ApplicationMemory& memory, GroupObjectService& groupObjects,
               HostEvents& events)
    : objects_(objects), memory_(memory), groupObjects_(groupObjects), events_(events) {}

KnxStack::IMemory* ApiHub::GetApplicationPrg1Memory() {
    ForgetRunState();
    ++cycles_;
    return isMemoryLoaded_ ? &memory_ : nullptr;
}

void ApiHub::SetRunState(bool running) {
    ++runStates_;
    ChangeRunState(running ? RunState::Running : RunState::Error);
    if (running) {
        groupObjects_.OnRunning();
    }
}

std::uint64_t ApiHub::GetLoadCheckCount() const {
    return objects_.Find(ObjectType::Application)->GetLoadCheckCount();
}

void ApiHub::ChangeRunState(RunState state) {
    if (runState_.exchange(state) != state) {
        events_.Publish(RunStateEvent{state});
    }
}

}  // namespace LocalDevice
