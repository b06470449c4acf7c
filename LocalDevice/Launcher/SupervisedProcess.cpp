#include "SupervisedProcess.h"

#include <boost/system/system_error.hpp>

namespace LocalDevice {

void SupervisedProcess::Start() {
    const LaunchCommand command = handlers_.command();
    lastLine_.clear();
    try {
        child_ = LaunchedProcess::Start(io_, command,
                                        {[this](const std::string& line) {
                                             lastLine_ = line;
                                             handlers_.onOutput(line);
                                         },
                                         [this](const std::string& how) { OnExit(how); }});
    } catch (const boost::system::system_error& error) {
        handlers_.onEnded(std::string("cannot be started: ") + error.what());
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
    if (child_) {
        child_->Stop(grace);
    }
}

void SupervisedProcess::Kill() const {
    if (child_) {
        child_->Kill();
    }
}

void SupervisedProcess::OnExit(const std::string& how) {
    child_ = nullptr;
    handlers_.onEnded("ended with " + how + (lastLine_.empty() ? "" : ": " + lastLine_));
}

}  // namespace LocalDevice
