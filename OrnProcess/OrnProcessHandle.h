#pragma once

#include <sys/types.h>

#include <boost/chrono/duration.hpp>
#include <boost/system/error_code.hpp>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Orn/Durations.h"

namespace Zandrel {

struct SpawnResult;

/// Descriptors that a child gets as its standard streams; none leaves it the parent's. They stay the caller's.
struct StandardStreams {
    std::optional<int> input;
    std::optional<int> output;
    std::optional<int> error;
};

/// One child process, from its start until it is reaped.
///
/// A handle is used by one thread at a time; different handles are independent, `Spawn` included. A child lives on when
/// its parent ends, and when only the thread that spawned it does: there is no parent-death signal, which could not
/// tell the two apart.
class OrnProcessHandle {
public:
    /// Holds no process.
    OrnProcessHandle() noexcept = default;
    /// Waits for the child, for ever if need be, and never kills it.
    ~OrnProcessHandle();
    /// Moving swaps: a handle moved from holds what the other one held, and a new one holds nothing.
    OrnProcessHandle(OrnProcessHandle&& other) noexcept;
    OrnProcessHandle& operator=(OrnProcessHandle&& other) noexcept;
    OrnProcessHandle(const OrnProcessHandle&) = delete;
    OrnProcessHandle& operator=(const OrnProcessHandle&) = delete;

    /// Starts the program `arguments[0]`, a path, with these arguments, the environment and the folder of the parent.
    ///
    /// The child has no descriptors but its standard streams, no blocked signals, and SIGPIPE in force. Waits until the
    /// program runs or could not be started: the reason is one of the system, as of pipe, fork or execv (ENOENT,
    /// EACCES, E2BIG and so on), or EINVAL for no arguments and for one with a NUL, which no program could receive.
    ///
    /// A failure is told at once, but a start is not where another thread forks at the same time and its child neither
    /// ends nor becomes a program: then this waits for `reportWait`, and the program counts as started.
    static SpawnResult Spawn(const std::vector<std::string>& arguments, const StandardStreams& streams = {},
                             boost::chrono::nanoseconds reportWait = Durations::StartReportWait);

    bool HoldsProcess() const noexcept { return pid_ >= 0; }

    /// Sends SIGKILL. The handle keeps its process: only waiting ends it. Succeeds without a process, and for a child
    /// that has ended and is not reaped yet.
    boost::system::error_code Kill() const noexcept;

    /// Waits until the child has ended and reaps it; the handle is empty then. Returns its exit status, 0 to 255, or -1
    /// when it did not exit by itself or could not be waited for, each with one line in the log; 0 when somebody else
    /// has reaped it, and without a process.
    int Wait();

    /// The same, but waits for `timeout` at most: none when the child still runs, and the handle keeps it.
    std::optional<int> Wait(boost::chrono::nanoseconds timeout);

    /// Gives the child up without waiting: for one that cannot be killed. It is a zombie when it ends.
    void Release() noexcept { pid_ = NoProcess; }

    /// Writes the process id, -1 without a process.
    friend std::ostream& operator<<(std::ostream& stream, const OrnProcessHandle& handle);

private:
    enum class WaitMode { Blocking, Polling };

    static constexpr pid_t NoProcess = -1;

    explicit OrnProcessHandle(pid_t pid) noexcept : pid_(pid) {}
    std::optional<int> Wait(WaitMode mode);

    pid_t pid_ = NoProcess;
};

/// A handle that holds the new child, or an empty one and the reason.
struct SpawnResult {
    OrnProcessHandle process;
    boost::system::error_code error;
};

}  // namespace Zandrel
