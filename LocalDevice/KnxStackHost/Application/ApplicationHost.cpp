#include "Application/ApplicationHost.h"

#include <boost/asio/post.hpp>
#include <boost/format.hpp>
#include <boost/thread/future.hpp>
#include <exception>
#include <utility>

#include "Output/EventText.h"
#include "Output/LogTap.h"

namespace LocalDevice {

namespace {

constexpr int StartUnderWay = 2;  // of Init and OnDeviceRestart, also of one that is ignored

/// How the application program's log tells of that.
constexpr const char* IgnoredRestart = "Ignore device restart request because we already restarting";

CallResult NotStarted() {
    return {std::nullopt, "the application program is not started"};
}

/// Makes one call of the application program. None of them throws by contract; one that does has failed.
CallResult Call(const char* name, const std::function<int()>& call) {
    try {
        return {call(), {}};
    } catch (const std::exception& error) {
        return {0, std::string(name) + " threw an exception: " + error.what()};
    }
}

std::string Describe(const char* name, const CallResult& result, std::chrono::steady_clock::time_point begin) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    const std::string seconds = (boost::format(" after %.3f s") % took.count()).str();
    return (result.problem.empty() ? std::string(name) + " returned " + std::to_string(result.result.value_or(0))
                                   : result.problem) +
           seconds;
}

}  // namespace

ApplicationHost::ApplicationHost(ApplicationProgramFactory factory, ApiHub& hub, HostEvents& events,
                                 const ApplicationHostTimes& times)
    : factory_(std::move(factory)),
      hub_(hub),
      events_(events),
      times_(times),
      initPause_(times.firstInitPause, times.longestInitPause),
      program_(nullptr, factory_.destroy),
      thread_([this] { io_.run(); }) {}

ApplicationHost::~ApplicationHost() {
    Exit();
    work_.reset();
    thread_.join();
}

CallResult ApplicationHost::Start() {
    return Run([this] {
        if (program_) {
            return CallResult{std::nullopt, "the application program is started already"};
        }
        initPause_.Reset();
        return StartNow();
    });
}

CallResult ApplicationHost::Restart() {
    return Run([this] { return RestartNow("on request"); });
}

CallResult ApplicationHost::Exit() {
    return Run([this] { return ExitNow(); });
}

void ApplicationHost::OnUnloading() {
    boost::asio::post(io_, [this] {
        EndRepetition();
        isUnloadPending_ = true;
        unloadTimer_.expires_after(times_.unloadGrace);
        unloadTimer_.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                RestartAfterUnload();
            }
        });
    });
}

void ApplicationHost::OnUnloaded() {
    boost::asio::post(io_, [this] { RestartAfterUnload(); });
}

void ApplicationHost::OnLoaded(std::uint64_t cycles) {
    boost::asio::post(io_, [this, cycles] {
        if (program_) {
            EndRepetition();
            RestartNow("the device is loaded");
            RepeatRestart({[this, cycles] { return hub_.GetCycleCount() > cycles; },
                           "no init cycle has begun since the device was loaded", times_.restartRepeat},
                          std::chrono::steady_clock::now() + times_.restartBound);
        }
    });
}

CallResult ApplicationHost::Run(std::function<CallResult()> call) {
    boost::promise<CallResult> promise;
    auto future = promise.get_future();
    boost::asio::post(io_, [&promise, call = std::move(call)] { promise.set_value(call()); });
    return future.get();
}

CallResult ApplicationHost::StartNow() {
    initTimer_.cancel();
    hub_.ForgetRunState();
    CallResult result = Initialise();
    if (program_ || !mayTryAgain_) {
        return result;
    }
    const auto pause = initPause_.Next();
    Report((boost::format("the application program did not start; trying again in %.1f s") %
            std::chrono::duration<double>(pause).count())
               .str(),
           true);
    initTimer_.expires_after(pause);
    initTimer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            StartNow();
        }
    });
    return result;
}

CallResult ApplicationHost::Initialise() {
    const auto begin = std::chrono::steady_clock::now();
    auto created = Call("createApplicationProgram", [this] {
        program_.reset(factory_.create());
        return program_ ? 1 : 0;
    });
    if (!program_) {
        Report(Describe("createApplicationProgram", created, begin), true);
        return created;
    }
    CallResult result = Call("Init", [this] { return program_->Init(hub_); });
    isStarted_ = result.result == StartUnderWay;
    Report(Describe("Init", result, begin), !isStarted_);
    if (!isStarted_) {
        Discard();
    }
    return result;
}

CallResult ApplicationHost::RestartNow(const char* cause) {
    if (!program_) {
        return NotStarted();
    }
    Report(std::string("OnDeviceRestart: ") + cause);
    const auto begin = std::chrono::steady_clock::now();
    std::atomic<bool> isIgnored{false};
    const LogTap tap(log4cplus::DEBUG_LOG_LEVEL, [&isIgnored](log4cplus::LogLevel level, const std::string& line) {
        if (CompactLogText(level, line) == IgnoredRestart) {
            isIgnored = true;
        }
    });
    CallResult result = Call("OnDeviceRestart", [this] { return program_->OnDeviceRestart(); });
    const bool isUnderWay = result.result == StartUnderWay;
    if (isUnderWay && !isIgnored) {
        ++restarts_;
    }
    Report(Describe("OnDeviceRestart", result, begin), !isUnderWay);
    return result;
}

CallResult ApplicationHost::ExitNow() {
    initTimer_.cancel();
    unloadTimer_.cancel();
    EndRepetition();
    isUnloadPending_ = false;
    if (!program_) {
        return NotStarted();
    }
    const auto begin = std::chrono::steady_clock::now();
    CallResult result = Call("Exit", [this] { return program_->Exit(); });
    Report(Describe("Exit", result, begin), !result.problem.empty());
    program_.reset();
    isStarted_ = false;
    hub_.ForgetRunState();
    return result;
}

/// Gives back an application program whose `Init` failed.
void ApplicationHost::Discard() {
    Call("Exit", [this] { return program_->Exit(); });
    program_.reset();
}

void ApplicationHost::RestartAfterUnload() {
    unloadTimer_.cancel();
    if (!std::exchange(isUnloadPending_, false) || !program_) {
        return;
    }
    const std::uint64_t checks = hub_.GetLoadCheckCount();
    RestartNow("the application is unloaded");
    RepeatRestart({[this, checks] { return hub_.GetLoadCheckCount() > checks; },
                   "no init cycle has begun since the application was unloaded", times_.unloadRepeat},
                  std::chrono::steady_clock::now() + times_.restartBound);
}

/// An application program that is busy with an earlier restart ignores a call, so the call is repeated.
void ApplicationHost::RepeatRestart(const Expectation& expectation, std::chrono::steady_clock::time_point end) {
    repeatTimer_.expires_after(expectation.pause);
    repeatTimer_.async_wait([this, expectation, end, repetition = repetition_](const boost::system::error_code& error) {
        if (error || repetition != repetition_ || !program_ || expectation.isMet()) {
            return;
        }
        if (std::chrono::steady_clock::now() >= end) {
            Report(std::string(expectation.missing) + "; giving up", true);
            return;
        }
        RestartNow(expectation.missing);
        RepeatRestart(expectation, end);
    });
}

void ApplicationHost::EndRepetition() {
    ++repetition_;
    repeatTimer_.cancel();
}

void ApplicationHost::Report(std::string text, bool isProblem) {
    events_.Publish(MessageEvent{isProblem, std::move(text)});
}

}  // namespace LocalDevice
