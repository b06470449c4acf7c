#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <boost/chrono/system_clocks.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/thread_only.hpp>
#include <cerrno>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "OrnProcessHandle.h"

/// What the tests of child processes share.
namespace ProcessTestTools {

/// A pipe whose ends close on exec.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0); }
    ~Pipe() {
        CloseReadEnd();
        CloseWriteEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int GetReadEnd() const { return ends_[0]; }
    int GetWriteEnd() const { return ends_[1]; }
    void CloseReadEnd() { Close(ends_[0]); }
    void CloseWriteEnd() { Close(ends_[1]); }

    /// All that was written, once every copy of the write end is closed.
    std::string ReadAll() {
        CloseWriteEnd();
        std::string text;
        std::array<char, 1024> buffer{};
        ssize_t count = 0;
        while ((count = read(GetReadEnd(), buffer.data(), buffer.size())) != 0) {
            if (count > 0) {
                text.append(buffer.data(), static_cast<std::size_t>(count));
            } else if (errno != EINTR) {
                ADD_FAILURE() << "read failed: " << errno;
                break;
            }
        }
        return text;
    }

private:
    static void Close(int& end) {
        if (end != -1) {
            close(std::exchange(end, -1));
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

/// The command line of a test child.
inline std::vector<std::string> Child(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TEST_CHILD);
    return arguments;
}

/// A handle that holds a new test child.
inline Zandrel::OrnProcessHandle Start(const std::vector<std::string>& arguments,
                                       const Zandrel::StandardStreams& streams = {},
                                       boost::chrono::nanoseconds reportWait = Zandrel::Durations::StartReportWait) {
    Zandrel::SpawnResult result = Zandrel::OrnProcessHandle::Spawn(Child(arguments), streams, reportWait);
    EXPECT_FALSE(result.error) << result.error.message();
    return std::move(result.process);
}

inline int PidOf(const Zandrel::OrnProcessHandle& handle) {
    std::ostringstream stream;
    stream << handle;
    return std::stoi(stream.str());
}

/// How many descriptors this process has open.
inline std::ptrdiff_t CountDescriptors() {
    return std::distance(boost::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Waits until `condition` holds. False when it did not within 10 s.
template <typename Condition>
bool Eventually(const Condition& condition) {
    using boost::chrono::steady_clock;
    const auto deadline = steady_clock::now() + boost::chrono::seconds(10);
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace ProcessTestTools
