#include "Supervision.h"

#include <log4cplus/loggingmacros.h>
#include <pthread.h>

#include <boost/asio/post.hpp>
#include <csignal>
#include <utility>

#include "AppHost.h"

namespace LocalDevice {

namespace {

using boost::system::error_code;

constexpr int SignalExitCode = 128;

/// A parent may block the signals, and a child inherits that.
void UnblockSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace

Supervision::Supervision(pid_t parent, Actions actions, log4cplus::Logger logger, Durations durations)
    : parent_(parent),
      actions_(std::move(actions)),
      logger_(std::move(logger)),
      durations_(durations),
      signals_(context_, SIGINT, SIGTERM) {
    UnblockSignals();
    AwaitSignal();
    boost::asio::post(context_, [this] { PollParent(); });
    thread_ = boost::thread([this] { context_.run(); });
}

Supervision::~Supervision() {
    context_.stop();
    thread_.join();
}

void Supervision::OnConnectionChanged(bool connected) {
    boost::asio::post(context_, [this, connected] {
        if (connected) {
            deviceStackTimer_.cancel();
            return;
        }
        deviceStackTimer_.expires_after(durations_.deviceStackGone);
        deviceStackTimer_.async_wait([this](const error_code& error) {
            if (!error) {
                Abandon("The device stack is gone");
            }
        });
    });
}

void Supervision::AwaitSignal() {
    signals_.async_wait([this](const error_code& error, int signal) {
        if (error) {
            return;
        }
        if (std::exchange(signalled_, true)) {
            actions_.endProcess(SignalExitCode + signal);
            return;
        }
        LOG4CPLUS_INFO(logger_, "Asked to end by signal " << signal);
        actions_.requestStop(AppHost::Success);
        AwaitSignal();
    });
}

void Supervision::PollParent() {
    if (actions_.getParent() != parent_) {
        Abandon("The parent process is gone");
        return;
    }
    parentTimer_.expires_after(durations_.parentPoll);
    parentTimer_.async_wait([this](const error_code& error) {
        if (!error) {
            PollParent();
        }
    });
}

void Supervision::Abandon(const std::string& reason) {
    if (std::exchange(abandoned_, true)) {
        return;
    }
    LOG4CPLUS_ERROR(logger_, reason << ": the app is ended");
    actions_.requestStop(AppHost::Failure);
    stopTimer_.expires_after(durations_.stop);
    stopTimer_.async_wait([this](const error_code& error) {
        if (!error) {
            LOG4CPLUS_FATAL(logger_, "The app does not stop: the process is ended");
            actions_.endProcess(AppHost::Failure);
        }
    });
}

}  // namespace LocalDevice
