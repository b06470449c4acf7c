#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ApplicationCore.h"
#include "KnxStack/IApplicationProgram.h"
#include "Orn/Finalizer.h"
#include "Orn/ThreadControl.h"
#include "Ostra/IDeviceStackClient.h"

namespace KnxStack {
class IApiHub;
}

namespace Zandrel {

/// The application program that the host creates: a shell around the core, which the program's threads share.
///
/// `Init`, `OnDeviceRestart`, `Exit` and the destructor are called on the host's thread, `OnValueChanged` on the
/// device-stack client's event thread. No exception leaves any of them, and an interruption of the thread ends none.
class OrnKnxAppPrg final : public KnxStack::IApplicationProgram, private Ostra::IDeviceStackClient::IEventHandler {
public:
    /// Starts the io thread. Throws `boost::thread_resource_error` when a mutex or the thread cannot be created.
    explicit OrnKnxAppPrg(const log4cplus::Logger& logger, const Environment& environment = {});

    /// Does not stop the init thread: the host calls `Exit` first.
    ~OrnKnxAppPrg() override;
    OrnKnxAppPrg(const OrnKnxAppPrg&) = delete;
    OrnKnxAppPrg& operator=(const OrnKnxAppPrg&) = delete;

    int Init(KnxStack::IApiHub& hub) override;
    int OnDeviceRestart() override;
    int Exit() override;

    /// True when the value was handled.
    bool OnValueChanged(unsigned long id, const std::string& text, const std::string& value) override;
    /// Has no effect; true.
    virtual bool IsAlive();
    /// Has no effect; true. The client restores the session itself.
    bool OnConnectionChanged(bool connected) override;

private:
    /// One step of a call that goes on whatever a step does: an exception ends in one log line of `caller`. A line that
    /// comes before something to do is a step of its own: to do it needs no line.
    template <typename Step>
    void Attempt(const char* caller, const Step& step);

    bool ConnectDeviceStack();
    int Restart(const std::shared_ptr<Finalizer>& finalizer);
    bool StartInitThread(KnxStack::IApiHub& hub, std::shared_ptr<Finalizer> finalizer);
    bool StopInitThread();
    void SignalKnxCommunicationOff(const char* caller, LogicalDeviceId id);
    void StopAppHost();
    bool DispatchValue(unsigned long id, const std::string& value);

    const std::shared_ptr<ApplicationCore> core_;
    const PrefixedLogger log_;

    // Touched by the host's thread only.
    KnxStack::IApiHub* apiHub_ = nullptr;
    std::function<bool()> stopInitThread_;
    std::shared_ptr<ThreadControl> control_;  ///< of the latest cycle
};

/// Clears the run flag, joins the thread with a time-out of 4 s, and interrupts and detaches it when that has passed.
/// True when the thread was joined.
bool InterruptAndJoinInitThread(ThreadControl& control, const log4cplus::Logger& logger, const std::string& prefix,
                                Clock& clock);

}  // namespace Zandrel
