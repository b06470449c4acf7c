#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "LocalDevice.h"

namespace EndToEnd {

/// Reads a log while it is written, also where it rolls: the file gets another name, and a new one takes its place. One
/// that rolls twice between two looks loses what lies between. Used by one thread.
class LogFollower {
public:
    /// Begins at the first line of the file at `path`, which may not be there yet.
    explicit LogFollower(std::string path) : path_(std::move(path)) {}

    /// The whole lines that were written since the last call, or since what `WaitFor` found.
    std::vector<std::string> TakeNew();
    /// Waits for a line that contains `part`, and passes it. False, with all lines passed, where none comes in time.
    bool WaitFor(const std::string& part, Milliseconds limit = Limit);

private:
    struct Closer {
        void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
    };

    bool NextLine(std::string& line);
    bool ReadLine(std::string& line);
    bool HasRolled() const;

    const std::string path_;

    std::unique_ptr<std::FILE, Closer> file_;
    std::string rest_;  ///< of a line that has not ended yet
};

}  // namespace EndToEnd
