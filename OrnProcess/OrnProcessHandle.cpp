#include "OrnProcessHandle.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/chrono/ceil.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/thread_only.hpp>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <ostream>
#include <utility>

#include "Orn/Logging.h"

namespace Zandrel {

namespace {

constexpr int FirstOtherDescriptor = STDERR_FILENO + 1;
constexpr boost::chrono::milliseconds ShortestPoll{1};
constexpr boost::chrono::milliseconds LongestPoll{50};

boost::system::error_code SystemError(int number) {
    return {number, boost::system::system_category()};
}

/// Owns one end of a pipe; -1 is none.
class PipeEnd {
public:
    PipeEnd() noexcept = default;
    explicit PipeEnd(int descriptor) noexcept : descriptor_(descriptor) {}
    ~PipeEnd() { Close(); }
    PipeEnd(PipeEnd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    PipeEnd& operator=(PipeEnd&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    PipeEnd(const PipeEnd&) = delete;
    PipeEnd& operator=(const PipeEnd&) = delete;

    int Get() const noexcept { return descriptor_; }

    void Close() noexcept {
        if (descriptor_ != -1) {
            close(std::exchange(descriptor_, -1));
        }
    }

private:
    int descriptor_ = -1;
};

/// The way on which a child reports why it could not become the program. A program that starts closes it unwritten.
struct ErrorPipe {
    PipeEnd readEnd;
    PipeEnd writeEnd;

    /// Both ends close on exec from the start, so that no child of another thread keeps the pipe open.
    boost::system::error_code Open() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            return SystemError(errno);
        }
        readEnd = PipeEnd(ends[0]);
        writeEnd = PipeEnd(ends[1]);
        if (writeEnd.Get() >= FirstOtherDescriptor) {
            return {};
        }
        // The parent has a standard stream closed. The redirection must not run over the pipe.
        PipeEnd moved(fcntl(writeEnd.Get(), F_DUPFD_CLOEXEC, FirstOtherDescriptor));
        if (moved.Get() == -1) {
            return SystemError(errno);
        }
        writeEnd = std::move(moved);
        return {};
    }
};

/// All that a child needs, prepared before fork.
struct ChildPlan {
    char* const* arguments;
    std::array<std::optional<int>, 3> streams;  ///< by the number of the standard stream
    int readEnd;
    int writeEnd;
    long descriptorLimit;
};

// From here to RunChild: what runs in the child, between fork and exec. Other threads of the parent may have held any
// lock at the fork, so that only async-signal-safe functions are called.

int Redirect(std::array<std::optional<int>, 3> streams) noexcept {
    // A source among the standard streams is saved first: an earlier redirection may overwrite it.
    for (std::optional<int>& source : streams) {
        if (source && *source < FirstOtherDescriptor) {
            source = fcntl(*source, F_DUPFD_CLOEXEC, FirstOtherDescriptor);
            if (*source == -1) {
                return errno;
            }
        }
    }
    for (std::size_t target = 0; target < streams.size(); ++target) {
        if (streams[target] && dup2(*streams[target], static_cast<int>(target)) == -1) {
            return errno;
        }
    }
    return 0;
}

bool CloseRange(unsigned int first, unsigned int last) noexcept {
    return first > last || syscall(SYS_close_range, first, last, 0U) == 0;
}

void CloseOtherDescriptors(int kept, long limit) noexcept {
    const auto keptNumber = static_cast<unsigned int>(kept);
    if (CloseRange(FirstOtherDescriptor, keptNumber - 1) && CloseRange(keptNumber + 1, UINT_MAX)) {
        return;
    }
    // A kernel before 5.9
    for (int descriptor = FirstOtherDescriptor; descriptor < limit; ++descriptor) {
        if (descriptor != kept) {
            close(descriptor);
        }
    }
}

/// What the parent's thread ignores and blocks would be inherited through exec: a host ignores SIGPIPE for its sockets'
/// sake and blocks signals that another thread of it waits for, but a program expects neither.
void ResetSignals() noexcept {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        const bool isChanged = sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL;
        if (isChanged && (action.sa_handler != SIG_IGN || number == SIGPIPE)) {
            // The parent's handlers too: they would run in the child once signals are unblocked, until exec drops them.
            action = {};
            action.sa_handler = SIG_DFL;
            sigaction(number, &action, nullptr);
        }
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void RunChild(const ChildPlan& plan) noexcept {
    close(plan.readEnd);
    int error = Redirect(plan.streams);
    if (error == 0) {
        CloseOtherDescriptors(plan.writeEnd, plan.descriptorLimit);
        ResetSignals();
        execv(plan.arguments[0], plan.arguments);
        error = errno;
    }
    // The pipe is empty and its reader waits: the write is complete, or the parent is gone.
    [[maybe_unused]] const ssize_t written = write(plan.writeEnd, &error, sizeof error);
    _exit(-1);
}

/// Signals are blocked meanwhile, so that no handler of the parent runs in the child.
pid_t ForkChild(const ChildPlan& plan) {
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const pid_t pid = fork();
    if (pid == 0) {
        RunChild(plan);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return pid;
}

/// Whether the program started: no error, the child's, or that of reading.
struct StartReport {
    bool read;
    int error;
};

/// Waits until the pipe can be read. False when it cannot within `timeout`.
bool WaitForReport(int readEnd, boost::chrono::nanoseconds timeout) {
    using boost::chrono::steady_clock;
    const steady_clock::time_point deadline = steady_clock::now() + timeout;
    pollfd pipe{readEnd, POLLIN, 0};
    int ready = 0;
    do {
        const auto left = boost::chrono::ceil<boost::chrono::milliseconds>(deadline - steady_clock::now());
        ready = poll(&pipe, 1, std::max(0, static_cast<int>(left.count())));
    } while (ready == -1 && errno == EINTR);
    return ready != 0;
}

StartReport ReadStartReport(int readEnd, boost::chrono::nanoseconds timeout) {
    if (!WaitForReport(readEnd, timeout)) {
        return {true, 0};
    }
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(readEnd, &error, sizeof error);
    } while (count == -1 && errno == EINTR);
    return count == -1 ? StartReport{false, errno} : StartReport{true, error};
}

/// None where an argument cannot be passed. The pointers are good as long as `arguments` is.
std::optional<std::vector<char*>> PointersTo(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        if (argument.find('\0') != std::string::npos) {
            return std::nullopt;
        }
        // execv takes pointers to non-const for the sake of old programs and changes nothing.
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    if (pointers.empty()) {
        return std::nullopt;
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

OrnProcessHandle::~OrnProcessHandle() {
    try {
        Wait();
    } catch (...) {  // NOLINT(bugprone-empty-catch): an end that cannot be logged is no reason to end the process
    }
}

OrnProcessHandle::OrnProcessHandle(OrnProcessHandle&& other) noexcept : pid_(std::exchange(other.pid_, NoProcess)) {}

OrnProcessHandle& OrnProcessHandle::operator=(OrnProcessHandle&& other) noexcept {
    std::swap(pid_, other.pid_);
    return *this;
}

SpawnResult OrnProcessHandle::Spawn(const std::vector<std::string>& arguments, const StandardStreams& streams,
                                    boost::chrono::nanoseconds reportWait) {
    const std::optional<std::vector<char*>> pointers = PointersTo(arguments);
    if (!pointers) {
        return {{}, SystemError(EINVAL)};
    }
    ErrorPipe pipe;
    if (const boost::system::error_code error = pipe.Open()) {
        return {{}, error};
    }
    const ChildPlan plan{pointers->data(),
                         {streams.input, streams.output, streams.error},
                         pipe.readEnd.Get(),
                         pipe.writeEnd.Get(),
                         sysconf(_SC_OPEN_MAX)};
    OrnProcessHandle child(ForkChild(plan));
    if (!child.HoldsProcess()) {
        return {{}, SystemError(errno)};
    }
    pipe.writeEnd.Close();
    const StartReport report = ReadStartReport(pipe.readEnd.Get(), reportWait);
    if (report.error == 0) {
        return {std::move(child), {}};
    }
    if (!report.read) {
        child.Kill();  // nobody knows whether it runs
    }
    child.Wait();
    return {{}, SystemError(report.error)};
}

boost::system::error_code OrnProcessHandle::Kill() const noexcept {
    if (HoldsProcess() && kill(pid_, SIGKILL) != 0) {
        return SystemError(errno);
    }
    return {};
}

int OrnProcessHandle::Wait() {
    return *Wait(WaitMode::Blocking);
}

std::optional<int> OrnProcessHandle::Wait(boost::chrono::nanoseconds timeout) {
    using boost::chrono::steady_clock;
    const steady_clock::time_point deadline = steady_clock::now() + timeout;
    boost::chrono::nanoseconds pause = ShortestPoll;
    while (true) {
        if (const std::optional<int> status = Wait(WaitMode::Polling)) {
            return status;
        }
        const boost::chrono::nanoseconds left = deadline - steady_clock::now();
        if (left.count() <= 0) {
            return std::nullopt;
        }
        boost::this_thread::no_interruption_point::sleep_for(std::min(pause, left));
        pause = std::min<boost::chrono::nanoseconds>(2 * pause, LongestPoll);
    }
}

std::optional<int> OrnProcessHandle::Wait(WaitMode mode) {
    if (!HoldsProcess()) {
        return 0;
    }
    int status = 0;
    pid_t result = 0;
    do {
        result = waitpid(pid_, &status, mode == WaitMode::Polling ? WNOHANG : 0);
    } while (result == -1 && errno == EINTR);
    const int error = errno;
    if (result == 0) {
        return std::nullopt;
    }
    const pid_t pid = std::exchange(pid_, NoProcess);
    if (result == -1) {
        if (error == ECHILD) {
            return 0;
        }
        ORN_LOG_GLOBAL(FATAL, "waitpid failed with " << result << " (errno " << error << ", child pid " << pid << ")");
        return -1;
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    if (WIFSIGNALED(status)) {
        ORN_LOG_GLOBAL(INFO, "Child process was killed by signal " << WTERMSIG(status));
    } else if (WIFSTOPPED(status)) {
        ORN_LOG_GLOBAL(INFO, "Child process was stopped by signal " << WSTOPSIG(status));
    } else if (WIFCONTINUED(status)) {
        ORN_LOG_GLOBAL(INFO, "Child process continued");
    }
    return -1;
}

std::ostream& operator<<(std::ostream& stream, const OrnProcessHandle& handle) {
    return stream << handle.pid_;
}

}  // namespace Zandrel
