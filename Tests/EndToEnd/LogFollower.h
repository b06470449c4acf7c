#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "LocalDevice.h"

namespace EndToEnd {

/// Reads a log while it is written. Used by one thread.
class LogFollower {
public:
    /// Begins at the first line of the file at `path`, which may not be there yet.
    explicit LogFollower(std::string path) : path_(std::move(path)) {}

    /// The whole lines that were written since the last call, or since what `WaitFor` found.
    std::vector<std::string> TakeNew();
    /// Waits for a line that contains `part`, and passes it. False, with all lines passed, where none comes in time.
    bool WaitFor(const std::string& part, Milliseconds limit = Limit);

private:
    bool NextLine(std::string& line);

    const std::string path_;

    std::ifstream file_;
    std::string rest_;  ///< of a line that has not ended yet
};

}  // namespace EndToEnd
