#pragma once

#include <log4cplus/logger.h>
#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <functional>
#include <string>

namespace LocalDevice {

/// Ends the app host when it has no reason to live any more: SIGINT or SIGTERM, a parent that is gone, a device stack
/// that stays gone.
///
/// It asks the app host to stop, from a thread of its own, so that an app that hangs does not matter. A second signal,
/// and an app that has not stopped after a while when nobody is left to kill the process, end the process at once.
class Supervision {
public:
    using Milliseconds = std::chrono::milliseconds;

    struct Durations {
        Milliseconds parentPoll{500};
        Milliseconds deviceStackGone{10000};
        Milliseconds stop{5000};  ///< that an app gets for its end
    };

    struct Actions {
        std::function<pid_t()> getParent;
        /// Asks the app host to stop with this exit code.
        std::function<void(int exitCode)> requestStop;
        /// Ends the process with this exit code.
        std::function<void(int exitCode)> endProcess;
    };

    /// Begins to watch, `parent` among others. The actions are called on the thread of this object.
    Supervision(pid_t parent, Actions actions, log4cplus::Logger logger, Durations durations);
    /// Ceases to watch.
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

    /// The connection to the device stack was lost or is back. Any thread.
    void OnConnectionChanged(bool connected);

private:
    void AwaitSignal();
    void PollParent();
    void Abandon(const std::string& reason);

    const pid_t parent_;
    const Actions actions_;
    const log4cplus::Logger logger_;
    const Durations durations_;

    // Of the thread.
    boost::asio::io_context context_{1};
    boost::asio::signal_set signals_;
    boost::asio::steady_timer parentTimer_{context_};
    boost::asio::steady_timer deviceStackTimer_{context_};
    boost::asio::steady_timer stopTimer_{context_};
    bool signalled_ = false;
    bool abandoned_ = false;

    boost::thread thread_;  ///< the last member: it uses the others from its start on
};

}  // namespace LocalDevice
