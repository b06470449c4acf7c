#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "DemoScript.h"

namespace LocalDevice {

/// Plays a demo: sends its telegrams and compares what the device sends with what it expects, address by address in
/// order. Telegrams on other addresses are no matter, and neither are those from before the last written one.
///
/// Holds no clock: whoever uses it says what time it is, and calls `OnTime` at `GetDeadline` at the latest.
class DemoPlayer {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Actions {
        /// Sends a step's telegram to the bus.
        std::function<void(const DemoStep& step)> write;
        /// Shows a step: a written one as it is sent, an expected one when it was met, `wait` after it was reached.
        std::function<void(const DemoStep& step, std::chrono::milliseconds wait)> show;
        /// Called once, when the demo has ended: an empty text, or what failed.
        std::function<void(const std::string& failure)> end;
    };

    DemoPlayer(DemoScript script, Actions actions);

    void Begin(TimePoint now);
    /// The device sent `value` to `groupAddress`.
    void OnTelegram(std::uint16_t groupAddress, const std::string& value, TimePoint now);
    /// A write could not be done.
    void OnWriteFailed(const std::string& reason);
    void OnTime(TimePoint now);

    /// When the current expectation fails; none when nothing is expected.
    std::optional<TimePoint> GetDeadline() const;

private:
    const DemoStep& Step() const { return script_.steps[position_]; }
    void Proceed(TimePoint now);
    bool MeetExpectation(TimePoint now);
    void Fail(const std::string& problem);
    void End(const std::string& failure);

    const DemoScript script_;
    const Actions actions_;
    std::size_t position_ = 0;
    bool isPlaying_ = false;
    TimePoint stepBegin_;
    std::map<std::uint16_t, std::deque<std::string>> received_;  ///< since the last write, by group address
};

}  // namespace LocalDevice
