#pragma once

#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Bus/Telegram.h"
#include "InterfaceObjects/LoadState.h"
#include "KnxStack/GroupValue.h"

namespace LocalDevice {

/// What became of a telegram, or of a value that the application wrote.
enum class Verdict : std::uint8_t {
    Taken,     ///< from the bus: handed to the application
    Ignored,   ///< from the bus: the application took it and does nothing with it; the reason says why
    Refused,   ///< not taken, or not written; the reason says why
    Answered,  ///< a read request: answered
    Silent,    ///< a read request: not answered
    Sent,      ///< to the bus
    Queued,    ///< to the bus, which is away: sent when it is back
    Kept,      ///< from the application: stored and, as the group object wants it, not sent
    Echo,      ///< from the application: it came from the bus just before and is not sent back
    Dropped,   ///< to the bus, which is away for too long
};

/// "taken", "refused" and so on.
const char* ToText(Verdict verdict);

/// One telegram and one group object that it concerns.
struct TelegramEvent {
    bool isIncoming = true;  ///< from the bus
    Telegram telegram;
    std::uint16_t number = 0;  ///< of the group object
    std::string name;
    std::uint32_t dpt = 0;
    std::optional<KnxStack::GroupValue> value;  ///< none for a read, and for a value of the wrong length
    Verdict verdict = Verdict::Taken;
    std::string reason;  ///< behind the verdict; may be empty
};

/// The run state that the application program reported; unknown from each start until then.
enum class RunState : std::uint8_t { Unknown, Running, Error };

/// "unknown", "running" or "error".
const char* ToText(RunState state);

struct RunStateEvent {
    RunState state = RunState::Unknown;
};

struct LoadStateEvent {
    std::uint16_t objectType = 0;
    LoadState state = LoadState::Unloaded;
};

/// The connection to the bus was lost or is back.
struct BusEvent {
    bool isConnected = true;
    std::string text;
};

/// A line of the plug-in's log.
struct LogEvent {
    int level = 0;  ///< as log4cplus counts
    std::string text;
};

/// A line about the host's own life.
struct MessageEvent {
    bool isProblem = false;
    std::string text;
};

/// Something that happened in the host.
struct HostEvent {
    using Body = std::variant<TelegramEvent, RunStateEvent, LoadStateEvent, BusEvent, LogEvent, MessageEvent>;

    std::chrono::system_clock::time_point time;
    Body body;
};

/// Tells subscribers what happens, on the thread where it happens. Thread-safe.
class HostEvents {
public:
    /// Throws nothing, waits for nothing and publishes nothing.
    using Subscriber = std::function<void(const HostEvent&)>;

    HostEvents() = default;
    ~HostEvents() = default;
    HostEvents(const HostEvents&) = delete;
    HostEvents& operator=(const HostEvents&) = delete;

    /// Ends a subscription when destroyed; on return the subscriber is not running, and no call follows. Must not
    /// outlive the object that gave it.
    class Subscription;
    std::unique_ptr<Subscription> Subscribe(Subscriber subscriber);

    void Publish(HostEvent::Body body);

private:
    class Entry;

    void Remove(const std::shared_ptr<Entry>& entry);

    boost::mutex mutex_;
    std::vector<std::shared_ptr<Entry>> entries_;
};

class HostEvents::Subscription {
public:
    Subscription(HostEvents& events, std::shared_ptr<Entry> entry) : events_(events), entry_(std::move(entry)) {}
    ~Subscription() { events_.Remove(entry_); }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

private:
    HostEvents& events_;
    const std::shared_ptr<Entry> entry_;
};

}  // namespace LocalDevice
