#include "OrnKnxAppPrg.h"

#include <boost/thread/thread_only.hpp>
#include <exception>
#include <optional>
#include <utility>

#include "ContainExceptions.h"
#include "DeviceStackConfigurationIndicator.h"
#include "InitThread.h"
#include "Orn/MeasureDuration.h"
#include "Zandrel/KnxOdsMapping.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

namespace {

/// Results of the host's calls.
constexpr int Failure = 0;
constexpr int Exited = 1;
constexpr int Started = 2;

}  // namespace

bool InterruptAndJoinInitThread(ThreadControl& control, const log4cplus::Logger& logger, const std::string& prefix,
                                Clock& clock) {
    static constexpr const char* Function = "InterruptAndJoinInitThread";
    const MeasureDuration measure("Interrupting and joining the init thread took ", logger);
    control.running = false;
    const bool joined = clock.Join(control.thread, Durations::InitThreadJoin);
    if (!joined) {
        ContainExceptions(logger, Function, [&] {
            ORN_LOG_PREFIXED_AS(Function, logger, prefix, FATAL, "Thread join timeout. Interrupting thread...");
            return true;
        });
        control.thread.interrupt();
        control.thread.detach();
    }
    return joined;
}

OrnKnxAppPrg::OrnKnxAppPrg(const log4cplus::Logger& logger, const Environment& environment)
    : core_(std::make_shared<ApplicationCore>(logger, environment, static_cast<IEventHandler&>(*this))),
      log_(core_->log) {
    core_->ioState.Start();
}

OrnKnxAppPrg::~OrnKnxAppPrg() {
    const boost::this_thread::disable_interruption uninterrupted;
    const auto attempt = [this](const auto& step) { Attempt("~OrnKnxAppPrg", step); };
    // A cycle that the host did not end is not waited for, but launches nothing any more.
    if (control_) {
        control_->running = false;
    }
    attempt([this] { core_->deviceResetTimer.Close(); });
    attempt([this] { core_->ioState.Stop(); });
    attempt([this] { core_->appDebugMode.Close(); });
    attempt([this] { core_->processControl.KillLeftOver(); });
    attempt([this] { core_->hub.Close(); });
    attempt([this] { core_->knxHandler.SetMessengers({}, {}); });
    attempt([this] { core_->connection.Disconnect(); });
    core_->knxHandler.Detach();
}

int OrnKnxAppPrg::Init(KnxStack::IApiHub& hub) {
    const boost::this_thread::disable_interruption uninterrupted;
    try {
        if (!core_->knxHandler.Init(hub)) {
            ORN_LOG(log_, DEBUG, "Failed to initialize knxhandler.");
            return Failure;
        }
        if (!ConnectDeviceStack()) {
            ORN_LOG(log_, ERROR, "Connecting the devicestack failed.");
            return Failure;
        }
        if (!StartInitThread(hub, std::make_shared<Finalizer>(nullptr))) {
            ORN_LOG(log_, ERROR, "StartInitThread() failed.");
            return Failure;
        }
        apiHub_ = &hub;
        return Started;
    } catch (const std::exception& error) {
        LogException(log_, "Init", error);
        return Failure;
    }
}

bool OrnKnxAppPrg::ConnectDeviceStack() {
    DeviceStackConnection& connection = core_->connection;
    return connection.ConnectDeviceStack([this, &connection] {
        // The callables refer to a core that owns the handler which holds them: no shared pointer, that would be a
        // circle.
        core_->knxHandler.SetMessengers(
            [&connection](unsigned long id, const ZANVALUE& value, bool isResponse) {
                return connection.SetValueAndIgnoreResponse(id, value, isResponse).value_or(false);
            },
            [&connection](unsigned long id, bool useStoredValue) {
                return connection.GetValue(id, useStoredValue).value_or(Docket());
            });
    });
}

int OrnKnxAppPrg::OnDeviceRestart() {
    const boost::this_thread::disable_interruption uninterrupted;
    try {
        Attempt("OnDeviceRestart", [this] { SignalConfigurationUnloaded(core_->connection, log_); });
        const auto finalizer = std::make_shared<Finalizer>([core = core_] { core->restarting = false; });
        if (core_->restarting.exchange(true)) {
            finalizer->Dismiss();
            ORN_LOG(log_, DEBUG, "Ignore device restart request because we already restarting");
            return Started;
        }
        return Restart(finalizer);
    } catch (const std::exception& error) {
        LogException(log_, "OnDeviceRestart", error);
        return Failure;
    }
}

int OrnKnxAppPrg::Restart(const std::shared_ptr<Finalizer>& finalizer) {
    static constexpr const char* Caller = "OnDeviceRestart";
    const auto attempt = [this](const auto& step) { Attempt(Caller, step); };
    const auto logicalDevice = core_->identity->GetLogicalDeviceId();
    attempt([&] {
        if (logicalDevice) {
            SignalKnxCommunicationOff(Caller, *logicalDevice);
        } else {
            ORN_LOG_AS(Caller, log_, INFO, "Missing logical device ID");
        }
    });
    attempt([this] { ORN_LOG_AS(Caller, log_, INFO, "Terminating App Host process"); });
    attempt([this] { StopAppHost(); });
    attempt([this] { core_->deviceResetTimer.Close(); });
    attempt([this] { core_->knxHandler.StopTickers(); });
    bool stopped = false;
    attempt([&] { stopped = StopInitThread(); });
    if (logicalDevice) {
        attempt([this] { ORN_LOG_AS(Caller, log_, INFO, "Resetting downloaded knx configuration"); });
        attempt([&] { core_->configurator.ResetConfiguration(*logicalDevice); });
    }
    if (apiHub_ == nullptr) {
        ORN_LOG_AS(Caller, log_, DEBUG, "IApiHub is nullptr!");
        return Failure;
    }
    if (!stopped) {
        ORN_LOG_AS(Caller, log_, FATAL, "Stopping init thread failed. Do not restart.");
        return Failure;
    }
    if (!StartInitThread(*apiHub_, finalizer)) {
        ORN_LOG_AS(Caller, log_, DEBUG, "Failed to start init thread.");
        return Failure;
    }
    return Started;
}

int OrnKnxAppPrg::Exit() {
    static constexpr const char* Caller = "Exit";
    const boost::this_thread::disable_interruption uninterrupted;
    const auto attempt = [this](const auto& step) { Attempt(Caller, step); };
    attempt([this] { SignalConfigurationUnloaded(core_->connection, log_); });
    attempt([this] {
        if (const auto logicalDevice = core_->identity->GetLogicalDeviceId()) {
            SignalKnxCommunicationOff(Caller, *logicalDevice);
        } else {
            ORN_LOG_AS(Caller, log_, INFO,
                       "Cannot signal KNX communication disabled because logical device id is unknown.");
        }
    });
    attempt([this] { StopAppHost(); });
    attempt([this] { core_->deviceResetTimer.Close(); });
    attempt([this] { core_->knxHandler.Close(); });
    attempt([this] {
        if (!StopInitThread()) {
            ORN_LOG_AS(Caller, log_, WARN, "Failed to stop init thread.");
        }
    });
    attempt([this] { core_->appDebugMode.Close(); });
    attempt([this] {
        if (const auto logicalDevice = core_->identity->GetLogicalDeviceId()) {
            core_->configurator.ResetConfiguration(*logicalDevice);
        }
    });
    {
        const MeasureDuration measure("Disconnecting from dsc took ", log_.GetLogger(), AnyDuration);
        attempt([this] { core_->knxHandler.SetMessengers({}, {}); });
        attempt([this] { core_->connection.Disconnect(); });
    }
    core_->hub.Close();
    apiHub_ = nullptr;
    return Exited;
}

template <typename Step>
void OrnKnxAppPrg::Attempt(const char* caller, const Step& step) {
    ContainExceptions(log_, caller, [&step] {
        step();
        return true;
    });
}

bool OrnKnxAppPrg::StartInitThread(KnxStack::IApiHub& hub, std::shared_ptr<Finalizer> finalizer) {
    const auto control = std::make_shared<ThreadControl>();
    control_ = control;
    // Before the thread: one that runs can be stopped.
    stopInitThread_ = [control, log = log_, clock = core_->clock] {
        return InterruptAndJoinInitThread(*control, log.GetLogger(), log.GetPrefix(), *clock);
    };
    core_->appDebugMode.Begin(control);
    core_->hub.Open(hub);
    core_->deviceResetTimer.Open();
    core_->knxHandler.Open();
    try {
        // The thread takes the cycle along: what it left in the thread's handle would hold that handle's own owner.
        control->thread = boost::thread(
            [cycle = InitThread(core_, control, std::move(finalizer))]() mutable { InitThread(std::move(cycle))(); });
    } catch (const std::exception&) {
        // A change of the debug mode until the next cycle belongs to this one, which is over.
        control->running = false;
        stopInitThread_ = nullptr;
        core_->deviceResetTimer.Close();
        return false;
    }
    // The cycle runs, whatever becomes of the line.
    static constexpr const char* Function = "StartInitThread";
    Attempt(Function,
            [this] { ORN_LOG_AS(Function, log_, DEBUG, "Started a new thread for updating enabled objects."); });
    return true;
}

bool OrnKnxAppPrg::StopInitThread() {
    if (!stopInitThread_) {
        return true;
    }
    static constexpr const char* Caller = "StopInitThread";
    // Before everything that can fail: a cycle that nobody can stop any more must not go on.
    control_->running = false;
    const bool stopped = ContainExceptions(log_, Caller, std::exchange(stopInitThread_, nullptr));
    // A launch that was under way when the app host was stopped may have ended after that.
    Attempt(Caller, [this] { core_->appControl.CorrectRunStateOfEndedCycle(core_->processControl.KillLeftOver()); });
    return stopped;
}

void OrnKnxAppPrg::SignalKnxCommunicationOff(const char* caller, LogicalDeviceId id) {
    if (ContainExceptions(log_, caller,
                          [&] { return core_->appControl.SignalAppHostKnxCommunicationState(id, false); })) {
        ORN_LOG_AS(caller, log_, INFO, "Signaled disabled KNX communication");
    } else {
        ORN_LOG_AS(caller, log_, ERROR, "Failed to signal disabled KNX communication");
    }
}

void OrnKnxAppPrg::StopAppHost() {
    core_->processControl.Stop();
    core_->appControl.CorrectStaleRunState();
}

bool OrnKnxAppPrg::OnValueChanged(unsigned long id, const std::string& text, const std::string& value) {
    static constexpr const char* Caller = "OnValueChanged";
    return ContainExceptions(log_, Caller, [&] {
        ORN_LOG_AS(Caller, log_, DEBUG, id << ": " << text << ", " << value);
        return DispatchValue(id, value);
    });
}

bool OrnKnxAppPrg::DispatchValue(unsigned long id, const std::string& value) {
    static constexpr const char* Caller = "OnValueChanged";
    const auto logicalDevice = core_->identity->GetLogicalDeviceId();
    if (!logicalDevice) {
        ORN_LOG_AS(Caller, log_, DEBUG, "Invalid Logical device ID.");
        return false;
    }
    if (KnxOdsMapping::IsAppHostAppControlAliveHeartbeat(id, logicalDevice->Value())) {
        ORN_LOG_AS(Caller, log_, DEBUG, id << ": AppHost alive received.");
        core_->deviceResetTimer.StartDeviceResetTimer();
        return true;
    }
    const ZANVALUE zanValue = ZANVALUE::Deserialize(zan_string(value));
    if (KnxOdsMapping::IsAppHostAppControlState(id, logicalDevice->Value())) {
        core_->processControl.OnRunStateValue(zanValue);
        return true;
    }
    if (KnxOdsMapping::IsAppHostAppControlAppDebug(id, logicalDevice->Value())) {
        const std::optional<bool> enable = zanValue.GetBoolean();
        if (!enable) {
            ORN_LOG_AS(Caller, log_, ERROR, id << ": Ignoring a value for App Debug that is no boolean");
            return false;
        }
        ORN_LOG_AS(Caller, log_, DEBUG, id << ": Set App Debug to " << (*enable ? "true" : "false") << " received.");
        core_->appDebugMode.SetAppDebugMode(*enable, core_);
        return true;
    }
    return core_->knxHandler.WriteValue(id, zanValue);
}

bool OrnKnxAppPrg::IsAlive() {
    return true;
}

bool OrnKnxAppPrg::OnConnectionChanged(bool /*connected*/) {
    return true;
}

}  // namespace Zandrel
