#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace LocalDevice {

/// What to start.
struct LaunchCommand {
    std::string program;                   ///< path
    std::vector<std::string> arguments;    ///< without the program
    std::vector<std::string> environment;  ///< "NAME=VALUE", in place of and beside the launcher's own variables
};

/// How a process ended.
struct ProcessEnd {
    /// "exit code 1" or "signal 11 (Segmentation fault)"; one that was killed when its grace was over:
    /// "signal 9 (Killed), for it did not end within 5 s".
    std::string how;
    /// With exit code 0, or by the SIGTERM that asked it to.
    bool isInOrder;
};

/// A child process in a process group of its own, so that a Ctrl-C reaches the launcher alone. Its output comes line by
/// line. When the launcher dies, it gets SIGTERM. When it ends, whatever is left of its process group is killed.
///
/// Start it and use it on one thread, the one that runs `io`; handlers are called there. It stays alive until its exit
/// handler has been called.
class LaunchedProcess : public std::enable_shared_from_this<LaunchedProcess> {
public:
    struct Handlers {
        std::function<void(const std::string& line)> onOutput;
        /// Called once, after all output.
        std::function<void(const ProcessEnd& end)> onExit;
    };

    /// Throws `boost::system::system_error` where the program cannot be started.
    static std::shared_ptr<LaunchedProcess> Start(boost::asio::io_context& io, const LaunchCommand& command,
                                                  Handlers handlers);

    /// Asks it to end (SIGTERM), and kills it when it has not ended after `grace`. Only the first call counts.
    void Stop(std::chrono::steady_clock::duration grace);
    bool IsStopping() const { return isStopping_; }

    /// Kills it with its process group.
    void Kill() const;

    pid_t GetPid() const { return pid_; }

private:
    LaunchedProcess(boost::asio::io_context& io, Handlers handlers);

    void Spawn(const LaunchCommand& command);
    void ReadOutput();
    void WaitForExit();
    void DrainOutput();
    void DeliverLines();
    ProcessEnd DescribeEnd(int status) const;

    Handlers handlers_;
    boost::asio::signal_set childSignal_;
    boost::asio::posix::stream_descriptor output_;
    boost::asio::steady_timer grace_;
    pid_t pid_ = -1;
    bool isStopping_ = false;
    std::string overdue_;  ///< why it was killed; empty while its grace is not over
    std::string pending_;  ///< output that no line feed has ended yet
};

}  // namespace LocalDevice
