#include "Bus/KnxdBusLink.h"

#include <poll.h>

#include <array>
#include <atomic>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <deque>
#include <optional>
#include <utility>

#include "Bus/Waker.h"
#include "Support/GrowingPause.h"
#include "Support/StopSignal.h"
#include "Support/UserSlot.h"

namespace LocalDevice {

namespace {

constexpr std::chrono::milliseconds FirstRetryPause{200};
constexpr std::chrono::milliseconds LongestRetryPause{10'000};
constexpr int SendTimeoutMs = 2'000;  // of a knxd that is there but takes nothing
constexpr boost::chrono::seconds JoinTimeout{3};

}  // namespace

class KnxdBusLink::Core {
public:
    Core(const std::string& url, TelegramHandler onTelegram, ConnectionHandler onConnection)
        : url_(url), onTelegram_(std::move(onTelegram)), onConnection_(std::move(onConnection)) {
        connection_.emplace(url);
        telegramSlot_.Set(onTelegram_);
        connectionSlot_.Set(onConnection_);
    }

    /// The body of the link's thread.
    void Run() {
        while (Serve() && Reconnect()) {
        }
    }

    void Stop() {
        stop_.Stop();
        waker_.Wake();
    }

    /// None of the handlers is called after this.
    void Silence() {
        telegramSlot_.Clear(onTelegram_);
        connectionSlot_.Clear(onConnection_);
    }

    bool Send(const Telegram& telegram) {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (outgoing_.empty() && connection_ && connection_->IsReadyToSend() && connection_->Send(telegram)) {
                return true;
            }
            if (outgoing_.size() >= MaxWaitingTelegrams) {
                ++dropped_;
                return false;
            }
            outgoing_.push_back(telegram);
        }
        waker_.Wake();
        return true;
    }

    bool IsConnected() const { return isConnected_; }

private:
    /// True when the connection is lost, false when stopped.
    bool Serve() {
        for (;;) {
            std::array<pollfd, 2> descriptors{MakePoll(), pollfd{waker_.GetDescriptor(), POLLIN, 0}};
            const bool isWaiting = (descriptors[0].events & POLLOUT) != 0;
            const int ready = poll(descriptors.data(), descriptors.size(), isWaiting ? SendTimeoutMs : -1);
            if (ready == -1) {
                continue;  // a signal
            }
            if (ready == 0) {
                return true;
            }
            if (descriptors[1].revents != 0) {
                waker_.Reset();
            }
            if ((descriptors[0].revents & ~POLLOUT) != 0 && !Receive()) {
                return true;
            }
            const bool isAlive = SendWaiting();
            if (stop_.IsStopped()) {
                return false;
            }
            if (!isAlive) {
                return true;
            }
        }
    }

    pollfd MakePoll() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        const int events = outgoing_.empty() ? POLLIN : POLLIN | POLLOUT;
        return {connection_->GetDescriptor(), static_cast<short>(events), 0};
    }

    bool Receive() {
        std::optional<Telegram> telegram;
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (!connection_->Receive(telegram)) {
                return false;
            }
        }
        if (telegram) {
            telegramSlot_.Notify([&telegram](const TelegramHandler& handler) { handler(*telegram); });
        }
        return true;
    }

    /// Sends as much of what waits as knxd takes at once. False when the connection is lost.
    bool SendWaiting() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        while (!outgoing_.empty() && connection_->IsReadyToSend()) {
            if (!connection_->Send(outgoing_.front())) {
                return false;
            }
            outgoing_.pop_front();
        }
        return true;
    }

    /// True when connected again, false when stopped.
    bool Reconnect() {
        isConnected_ = false;
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            connection_.reset();
        }
        Report(false, "knxd at " + url_ + " is gone; trying again");
        GrowingPause pause(FirstRetryPause, LongestRetryPause);
        while (stop_.Sleep(pause.Next())) {
            if (!Connect()) {
                continue;  // one line when lost and one when back is enough
            }
            isConnected_ = true;
            Report(true, "knxd at " + url_ + " is back" + TakeBacklogText());
            waker_.Wake();
            return true;
        }
        return false;
    }

    bool Connect() {
        try {
            KnxdConnection connection(url_);  // may take a while
            const boost::lock_guard<boost::mutex> lock(mutex_);
            connection_.emplace(std::move(connection));
            return true;
        } catch (const BusError&) {
            return false;
        }
    }

    std::string TakeBacklogText() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        const auto dropped = std::exchange(dropped_, 0);
        if (outgoing_.empty() && dropped == 0) {
            return {};
        }
        return "; " + std::to_string(outgoing_.size()) + " telegrams waited, " + std::to_string(dropped) +
               " were dropped";
    }

    void Report(bool isConnected, const std::string& line) {
        connectionSlot_.Notify([&](const ConnectionHandler& handler) { handler(isConnected, line); });
    }

    const std::string url_;
    const TelegramHandler onTelegram_;
    const ConnectionHandler onConnection_;

    UserSlot<const TelegramHandler> telegramSlot_;
    UserSlot<const ConnectionHandler> connectionSlot_;
    Waker waker_;
    StopSignal stop_;
    std::atomic<bool> isConnected_{true};

    mutable boost::mutex mutex_;  ///< never held while something waits
    std::optional<KnxdConnection> connection_;
    std::deque<Telegram> outgoing_;
    std::size_t dropped_ = 0;
};

KnxdBusLink::KnxdBusLink(const std::string& url, TelegramHandler onTelegram, ConnectionHandler onConnection)
    : core_(std::make_shared<Core>(url, std::move(onTelegram), std::move(onConnection))),
      thread_([core = core_] { core->Run(); }) {}

KnxdBusLink::~KnxdBusLink() {
    core_->Stop();
    core_->Silence();
    if (!thread_.try_join_for(JoinTimeout)) {
        thread_.detach();
    }
}

bool KnxdBusLink::Send(const Telegram& telegram) {
    return core_->Send(telegram);
}

bool KnxdBusLink::IsConnected() const {
    return core_->IsConnected();
}

}  // namespace LocalDevice
