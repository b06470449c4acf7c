#pragma once

#include <boost/timer/timer.hpp>
#include <chrono>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Orn/Logging.h"

namespace Zandrel {

/// The threshold of durations that are of interest in normal operation: each reaches it.
inline constexpr std::chrono::nanoseconds AnyDuration{0};

/// Logs how long its scope took: its text, followed by wall and processor times in seconds with 6 decimals.
///
/// `Text` is whatever a stream prints. It is kept as it is and printed only into a line that is logged: to measure with
/// a literal never fails, and a text that takes some building is best a type that prints itself.
template <typename Text>
class MeasureDuration {
public:
    /// Without a threshold the duration is logged at DEBUG; with one at INFO, and only when the wall time reaches it.
    MeasureDuration(Text text, log4cplus::Logger logger,
                    std::optional<std::chrono::nanoseconds> threshold =
                        std::nullopt) noexcept(std::is_nothrow_move_constructible_v<Text>)
        : text_(std::move(text)), logger_(std::move(logger)), threshold_(threshold) {}

    ~MeasureDuration() {
        try {
            const boost::timer::cpu_times times = timer_.elapsed();
            if (!threshold_) {
                ORN_LOG_PLAIN(logger_, DEBUG, text_ << Format(times));
            } else if (times.wall >= threshold_->count()) {
                ORN_LOG_PLAIN(logger_, INFO, text_ << Format(times));
            }
        } catch (
            ...) {  // NOLINT(bugprone-empty-catch): a duration that cannot be logged is no reason to end the process
        }
    }

    MeasureDuration(const MeasureDuration&) = delete;
    MeasureDuration& operator=(const MeasureDuration&) = delete;

private:
    static std::string Format(const boost::timer::cpu_times& times) {
        constexpr short Decimals = 6;
        const std::string formatted = boost::timer::format(times, Decimals);
        return formatted.substr(1, formatted.size() - 2);  // without the leading blank and the line feed
    }

    Text text_;
    log4cplus::Logger logger_;
    std::optional<std::chrono::nanoseconds> threshold_;
    boost::timer::cpu_timer timer_;
};

}  // namespace Zandrel
