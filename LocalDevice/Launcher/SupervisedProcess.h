#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "LaunchedProcess.h"

namespace LocalDevice {

/// One program of the local device that is to run: it can be started again and again.
///
/// For the thread that runs `io`; the handlers are called there. Must outlive the process that it started.
class SupervisedProcess {
public:
    struct Handlers {
        std::function<LaunchCommand()> command;  ///< what to start, asked at each start
        /// What it prints, but for its complaints: "PROGRAM: " and why it ends.
        std::function<void(const std::string& line)> onOutput;
        /// The process has ended, or could not be started: `how` is one line without the process's name, with its
        /// complaint.
        std::function<void(const ProcessEnd& end)> onEnded;
    };

    SupervisedProcess(boost::asio::io_context& io, std::string name, Handlers handlers)
        : io_(io), name_(std::move(name)), handlers_(std::move(handlers)), startTimer_(io) {}
    SupervisedProcess(const SupervisedProcess&) = delete;
    SupervisedProcess& operator=(const SupervisedProcess&) = delete;

    const std::string& GetName() const { return name_; }

    void Start();
    void StartAfter(std::chrono::steady_clock::duration pause);
    bool IsRunning() const { return process_ != nullptr; }
    bool IsProcess(pid_t pid) const { return process_ && process_->GetPid() == pid; }

    /// Forgets a start that is due, and asks the process to end; kills it when it has not ended after `grace`.
    void Stop(std::chrono::steady_clock::duration grace);
    void Kill() const;

    /// Notes that it does its work.
    void SetUp() { wasUp_ = true; }
    /// Whether it has ever done its work, so that its command line cannot be what is wrong.
    bool WasUp() const { return wasUp_; }

private:
    void OnOutput(const std::string& line);
    void OnExit(const ProcessEnd& end);

    boost::asio::io_context& io_;
    const std::string name_;
    const Handlers handlers_;
    boost::asio::steady_timer startTimer_;
    unsigned startNumber_ = 0;  ///< tells a start that is due from one that was forgotten
    bool wasUp_ = false;
    std::string complaintBegin_;  ///< of the running program
    std::string complaint_;
    std::shared_ptr<LaunchedProcess> process_;
};

}  // namespace LocalDevice
