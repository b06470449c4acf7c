#pragma once

#include <algorithm>
#include <chrono>

/// The shortest time of an action so far: the one that other programs have disturbed least.
class ShortestTime {
public:
    /// Runs the action and returns how long it took, in seconds.
    template <typename Action>
    double Measure(const Action& action) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        seconds_ = std::min(seconds_, seconds);
        return seconds;
    }

    /// In seconds.
    double Get() const { return seconds_; }

private:
    double seconds_ = 1e9;
};
