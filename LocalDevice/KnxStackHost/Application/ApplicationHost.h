#pragma once

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/thread.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Application/ApiHub.h"
#include "Application/PluginLibrary.h"
#include "Output/HostEvents.h"
#include "Support/GrowingPause.h"

namespace LocalDevice {

/// When the host tries again.
struct ApplicationHostTimes {
    std::chrono::milliseconds firstInitPause{500};
    std::chrono::milliseconds longestInitPause{10'000};
    std::chrono::milliseconds unloadGrace{100};       ///< how long the restart waits for the event before it
    std::chrono::milliseconds unloadRepeat{3'000};    ///< between two restarts after an unload: a cycle waits 2 s first
    std::chrono::milliseconds restartRepeat{200};     ///< between two restarts after a download
    std::chrono::milliseconds restartBound{150'000};  ///< from when on no more of either follows
};

/// What a call of the application program came to.
struct CallResult {
    std::optional<int> result;  ///< what it returned; none when it was not made
    std::string problem;        ///< why it was not made, or failed
};

/// Creates and drives the application program, with every call on one thread of this object. Thread-safe.
class ApplicationHost {
public:
    /// `hub` must live until the destructor has returned.
    ApplicationHost(ApplicationProgramFactory factory, ApiHub& hub, HostEvents& events,
                    const ApplicationHostTimes& times = {});

    /// Ends the application program like `Exit`, after the call that is running.
    ~ApplicationHost();
    ApplicationHost(const ApplicationHost&) = delete;
    ApplicationHost& operator=(const ApplicationHost&) = delete;

    /// Creates and initialises the application program. Where `Init` returns 0, it is tried again on a fresh object,
    /// with a growing pause, until it succeeds or `Exit` is called; the result is that of the first attempt.
    CallResult Start();
    /// One `OnDeviceRestart`.
    CallResult Restart();
    /// `Exit` and the deletion of the application program, or the end of the attempts to start it.
    CallResult Exit();

    /// The host is about to end: from now on a start that fails is the last one. Returns at once, whatever is under
    /// way.
    void StopTrying() { mayTryAgain_ = false; }

    /// The application's object is about to leave "loaded", and has left it. The restart follows the second, or the
    /// first where the second is late: the application program may hold up the load event until it is stopped. It is
    /// repeated until a cycle has looked at the load state: one that is past that would start the app all the same.
    void OnUnloading();
    void OnUnloaded();

    /// The last object is loaded; `cycles` is the hub's count of cycles before. Restarts until another one has begun.
    void OnLoaded(std::uint64_t cycles);

    /// Whether `Init` has succeeded and `Exit` was not called since.
    bool IsStarted() const { return isStarted_; }
    /// How many restarts the application program accepted. One that its log says it ignored, because it was restarting
    /// already, is none of them.
    std::uint64_t GetRestartCount() const { return restarts_; }

private:
    using Program = std::unique_ptr<KnxStack::IApplicationProgram, std::function<void(KnxStack::IApplicationProgram*)>>;

    /// What shows that a restart was not ignored: the program has passed a point.
    struct Expectation {
        std::function<bool()> isMet;
        const char* missing;  ///< what has not happened, for a message
        std::chrono::milliseconds pause;
    };

    CallResult Run(std::function<CallResult()> call);
    CallResult StartNow();
    CallResult RestartNow(const char* cause);
    CallResult ExitNow();
    CallResult Initialise();
    void Discard();
    void RestartAfterUnload();
    void RepeatRestart(const Expectation& expectation, std::chrono::steady_clock::time_point end);
    void EndRepetition();
    void Report(std::string text, bool isProblem = false);

    const ApplicationProgramFactory factory_;
    ApiHub& hub_;
    HostEvents& events_;
    const ApplicationHostTimes times_;

    std::atomic<bool> isStarted_{false};
    std::atomic<std::uint64_t> restarts_{0};
    std::atomic<bool> mayTryAgain_{true};

    boost::asio::io_context io_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{io_.get_executor()};

    // Of the host thread only.
    boost::asio::steady_timer initTimer_{io_};
    boost::asio::steady_timer unloadTimer_{io_};
    boost::asio::steady_timer repeatTimer_{io_};
    std::uint64_t repetition_ = 0;  ///< counts on when one ends: its handler may be on its way already
    GrowingPause initPause_;
    bool isUnloadPending_ = false;
    Program program_;

    boost::thread thread_;
};

}  // namespace LocalDevice
