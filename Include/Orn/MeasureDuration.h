#pragma once

#include <boost/timer/timer.hpp>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "Orn/Logging.h"

namespace Zandrel {

/// Logs how long its scope took: its text, followed by wall and processor times in seconds with 6 decimals.
class MeasureDuration {
public:
    using Threshold = std::chrono::nanoseconds;

    /// Logs INFO always: for durations that are of interest in normal operation.
    static constexpr Threshold Always{0};

    /// Without a threshold the duration is logged at DEBUG; with one at INFO, and only when the wall time reaches it.
    MeasureDuration(std::string text, const log4cplus::Logger& logger,
                    std::optional<Threshold> threshold = std::nullopt)
        : text_(std::move(text)), logger_(logger), threshold_(threshold) {}

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

    std::string text_;
    log4cplus::Logger logger_;
    std::optional<Threshold> threshold_;
    boost::timer::cpu_timer timer_;
};

}  // namespace Zandrel
