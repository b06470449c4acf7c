#pragma once

#include <boost/chrono/duration.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/thread_only.hpp>
#include <csignal>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace TestSupport {

/// Starts a program whose standard input, output and error are closed, gives what stands behind them once the file
/// `ready` is there (nothing where one is closed still), and ends it.
inline std::vector<std::string> GetStreamsOfClosedOnes(std::vector<std::string> command, const std::string& ready) {
    constexpr int MostPauses = 2000;
    command.insert(command.begin(), {"-c", R"(exec "$0" "$@" <&- >&- 2>&-)"});
    ChildProcess program("/bin/sh", command);
    for (int i = 0; i < MostPauses && !boost::filesystem::exists(ready); ++i) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(10));
    }
    std::vector<std::string> streams;
    for (const char* const descriptor : {"0", "1", "2"}) {
        boost::system::error_code closed;
        const std::string link = "/proc/" + std::to_string(program.GetPid()) + "/fd/" + descriptor;
        streams.push_back(boost::filesystem::read_symlink(link, closed).string());
    }
    program.Signal(SIGTERM);
    program.WaitForExit();
    return streams;
}

}  // namespace TestSupport
