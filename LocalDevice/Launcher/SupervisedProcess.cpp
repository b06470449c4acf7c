#include "SupervisedProcess.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/asio/post.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/system/system_error.hpp>

namespace LocalDevice {

void SupervisedProcess::Start() {
    const LaunchCommand command = handlers_.command();
    complaintBegin_ = boost::filesystem::path(command.program).filename().string() + ": ";
    complaint_.clear();
    const auto onOutput = [this](const std::string& line) { OnOutput(line); };
    const auto onExit = [this](const ProcessEnd& end) { OnExit(end); };
    try {
        process_ = LaunchedProcess::Start(io_, command, {onOutput, onExit});
    } catch (const boost::system::system_error& error) {
        // Told later: the caller is not in a state to hear of an end before it has finished starting.
        boost::asio::post(io_,
                          [this, number = ++startNumber_, how = std::string("cannot be started: ") + error.what()] {
                              if (number == startNumber_) {
                                  handlers_.onEnded({how, false});
                              }
                          });
    }
}

void SupervisedProcess::StartAfter(std::chrono::steady_clock::duration pause) {
    startTimer_.expires_after(pause);
    startTimer_.async_wait([this, number = ++startNumber_](const boost::system::error_code& error) {
        if (!error && number == startNumber_) {
            Start();
        }
    });
}

void SupervisedProcess::Stop(std::chrono::steady_clock::duration grace) {
    ++startNumber_;
    startTimer_.cancel();
    if (process_) {
        process_->Stop(grace);
    }
}

void SupervisedProcess::Kill() const {
    if (process_) {
        process_->Kill();
    }
}

void SupervisedProcess::OnOutput(const std::string& line) {
    if (boost::starts_with(line, complaintBegin_)) {
        complaint_ = line;
    } else {
        handlers_.onOutput(line);
    }
}

void SupervisedProcess::OnExit(const ProcessEnd& end) {
    process_ = nullptr;
    handlers_.onEnded({"ended with " + end.how + (complaint_.empty() ? "" : ": " + complaint_), end.isInOrder});
}

}  // namespace LocalDevice
