#include "AppHost.h"

#include <log4cplus/loggingmacros.h>

#include <chrono>
#include <exception>
#include <utility>

#include "Zandrel/KnxOdsMapping.h"

namespace LocalDevice {

namespace {

using Zandrel::ZANVALUE;

// What the values of the control event object ask for.
constexpr std::int64_t ShutDown = 1;
constexpr std::int64_t CommunicationOn = 2;
constexpr std::int64_t CommunicationOff = 3;

}  // namespace

AppHost::AppHost(AppFunctions app, int logicalDevice, IDeviceStack& deviceStack, log4cplus::Logger logger,
                 log4cplus::Logger appLogger, EventLoop::Milliseconds heartbeatPeriod)
    : app_(app),
      logicalDevice_(logicalDevice),
      deviceStack_(deviceStack),
      logger_(std::move(logger)),
      appLogger_(std::move(appLogger)),
      heartbeatPeriod_(heartbeatPeriod) {}

int AppHost::Run(DeviceModel model) {
    if (stopRequested_) {
        return exitCode_;
    }
    interface_.emplace(
        logicalDevice_, std::move(model), loop_, deviceStack_, appLogger_, [this] { RequestStop(Failure); },
        [this](bool running) { OnRunning(running); }, [this](bool alive) { OnAlive(alive); });
    hasInterface_ = true;
    Report(RunState::Starting);
    if (Start()) {
        LiveUntilStopped();
        Report(RunState::Stopping);
        Stop();
    }
    Report(RunState::Stopped);
    return exitCode_;
}

bool AppHost::Start() {
    orn_result result = ORN_FAILED;
    isStarting_ = true;
    const bool returned = Try([&] { result = app_.start(interface_->GetHost(), &appContext_); });
    isStarting_ = false;
    if (!returned) {
        return false;
    }
    if (result != ORN_OK) {
        LOG4CPLUS_ERROR(logger_, "The app did not start: it returned " << result);
        RequestStop(Failure);
        return false;
    }
    return true;
}

void AppHost::LiveUntilStopped() {
    if (!stopRequested_) {
        UpdateRunState();
        loop_.StartTimer(heartbeatPeriod_, true, [this] { SendHeartbeat(); });
    }
    while (!Try([this] { loop_.Run(); })) {
    }
}

void AppHost::Stop() {
    Try([this] { app_.stop(appContext_); });
}

bool AppHost::Try(const std::function<void()>& call) {
    try {
        call();
        return true;
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger_, "The app threw an exception: " << error.what());
    } catch (...) {
        LOG4CPLUS_ERROR(logger_, "The app threw an exception of a type of its own");
    }
    RequestStop(Failure);
    return false;
}

void AppHost::RequestStop(int exitCode) {
    if (exitCode != Success) {
        exitCode_ = exitCode;
    }
    if (!stopRequested_.exchange(true)) {
        loop_.Quit();
    }
}

void AppHost::OnCoValue(std::uint16_t co, ZANVALUE value) {
    const auto arrival = std::chrono::steady_clock::now();
    // The report of the app's own write does not wake it, unless something came before that it has to look at first.
    if (hasInterface_ && unexamined_ == 0 && interface_->TakeOwnReport(co, value, arrival)) {
        return;
    }
    ++unexamined_;
    loop_.Post([this, co, value = std::move(value), arrival] {
        const bool isNews = interface_->IsNews(co, value, arrival);
        --unexamined_;
        if (isNews) {
            interface_->OnValue(co, value);
        }
    });
}

void AppHost::OnControlEvent(const ZANVALUE& value) {
    switch (value.GetInteger().value_or(0)) {
        case ShutDown:
            LOG4CPLUS_INFO(logger_, "Asked to shut down");
            RequestStop(Success);
            break;
        case CommunicationOn:
            loop_.Post([this] { interface_->OnCommunication(true); });
            break;
        case CommunicationOff:
            loop_.Post([this] { interface_->OnCommunication(false); });
            break;
        default:
            LOG4CPLUS_WARN(logger_, "Unknown control event: " << value.Serialize());
    }
}

void AppHost::OnReconnected() {
    ++unexamined_;
    loop_.Post([this] {
        interface_->OnReconnected();
        --unexamined_;
        SendRunState(state_);
    });
}

void AppHost::OnRunning(bool running) {
    canWork_ = running;
    if (interface_->IsAppThread() && isStarting_) {
        return;  // it is looked at when the start has ended: what cannot work yet may still be on its way
    }
    loop_.Post([this, running] { running ? UpdateRunState() : OnCannotWork(); });
}

/// Again, too, where it could not before: others may have written the run state meanwhile.
void AppHost::OnCannotWork() {
    if (canWork_) {
        return;
    }
    if (state_ == RunState::Starting) {
        WriteHeartbeat();  // the device's watchdog begins with the first one; without it a failed start would last
    }
    Report(RunState::Stopped);
}

void AppHost::OnAlive(bool alive) {
    isAlive_ = alive;
    loop_.Post([this] { SendHeartbeat(); });  // one may have been left out
}

void AppHost::UpdateRunState() {
    if (canWork_ && state_ != RunState::Running) {
        Report(RunState::Running);
        SendHeartbeat();
    }
}

void AppHost::Report(RunState state) {
    state_ = state;
    SendRunState(state);
}

void AppHost::SendRunState(RunState state) {
    const auto id = Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(logicalDevice_);
    if (!deviceStack_.SetValue(id, ZANVALUE::FromInteger(static_cast<std::int64_t>(state)))) {
        LOG4CPLUS_WARN(logger_, "Could not report the run state: there is no connection to the device stack");
    }
}

void AppHost::SendHeartbeat() {
    if (state_ == RunState::Running && isAlive_) {
        WriteHeartbeat();
    }
}

void AppHost::WriteHeartbeat() {
    const auto id = Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(logicalDevice_);
    deviceStack_.SetValue(id, ZANVALUE::FromBoolean(true));
}

}  // namespace LocalDevice
