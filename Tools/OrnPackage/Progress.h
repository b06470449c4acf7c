#pragma once

#include <boost/timer/progress_display.hpp>
#include <cstdint>
#include <optional>

namespace LocalDevice {

/// A progress bar on standard error, for large packages and where that is a terminal; else nothing.
class Progress {
public:
    /// Below this many bytes all is done at once.
    static constexpr std::uint64_t Large = std::uint64_t{32} << 20;

    /// Whether there is a terminal: nobody else needs to know how many bytes it will be.
    static bool IsPossible();

    explicit Progress(std::uint64_t bytes);
    /// Ends the line of a bar that did not come to its end.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Add(std::uint64_t bytes);

private:
    const std::uint64_t bytes_;
    std::uint64_t done_ = 0;
    std::optional<boost::timer::progress_display> bar_;  ///< in percent
};

}  // namespace LocalDevice
