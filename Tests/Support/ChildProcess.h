#pragma once

#include <sys/types.h>

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace TestSupport {

/// How a process ended: by itself with a code, or by a signal.
struct ExitStatus {
    std::optional<int> code;
    std::optional<int> signal;

    static ExitStatus Exited(int code) { return {code, std::nullopt}; }
    static ExitStatus Killed(int signal) { return {std::nullopt, signal}; }

    friend bool operator==(const ExitStatus& a, const ExitStatus& b) {
        return a.code == b.code && a.signal == b.signal;
    }
    friend std::ostream& operator<<(std::ostream& stream, const ExitStatus& status);
};

/// A program under test. It leads a process group of its own, reads nothing from its input, and whatever it writes is
/// captured line by line. The destructor kills the whole group and reaps the program. Used by one thread.
class ChildProcess {
public:
    using Milliseconds = std::chrono::milliseconds;
    using Environment = std::map<std::string, std::string>;

    /// Long enough for a loaded machine; a test that passes never waits it out.
    static constexpr Milliseconds DefaultLimit{20000};

    /// Starts `program`, a path. `environment` is put over the caller's own. Throws `std::system_error` where the
    /// program cannot be started.
    explicit ChildProcess(const std::string& program, const std::vector<std::string>& arguments = {},
                          const Environment& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t GetPid() const noexcept { return pid_; }

    /// The lines written so far to standard output and to standard error, without their line feeds.
    std::vector<std::string> GetOutputLines() const;
    std::vector<std::string> GetErrorLines() const;

    /// The first line of either that contains `part`; waits for it. None when `limit` has passed or both are closed.
    std::optional<std::string> WaitForLine(const std::string& part, Milliseconds limit = DefaultLimit);

    /// Sends a signal to the program alone; false when it has ended.
    bool Signal(int signal);

    /// Waits for the end of the program; after that both outputs are complete, unless a grandchild still holds them.
    /// None when it still runs after `limit`. May be called again.
    std::optional<ExitStatus> WaitForExit(Milliseconds limit = DefaultLimit);

private:
    struct Output {
        std::vector<std::string> lines;
        std::string rest;  ///< of a line that has not ended yet
        bool open = true;

        void Append(const char* text, std::size_t size);
        void Close();
        const std::string* Find(const std::string& part) const;
    };

    void ReadOutputs();
    bool ReadSome(int descriptor, Output& output);
    /// Looks without reaping: that is the destructor's.
    bool HasExited();

    int outputPipe_ = -1;
    int errorPipe_ = -1;
    int stopEvent_ = -1;
    pid_t pid_ = -1;
    std::optional<ExitStatus> exitStatus_;

    mutable boost::mutex mutex_;
    boost::condition_variable changed_;
    Output output_;
    Output error_;

    boost::thread reader_;
};

}  // namespace TestSupport
