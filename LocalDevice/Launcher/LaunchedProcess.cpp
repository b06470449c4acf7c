#include "LaunchedProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <string_view>
#include <utility>

namespace LocalDevice {

namespace {

constexpr std::size_t ReadSize = 4096;
constexpr std::size_t LongestLine = 65'536;
constexpr int ReadsAtOnce =
    64;  ///< more than a pipe holds: a child that never stops writing must not stop the launcher

[[noreturn]] void ThrowErrno(int number, const std::string& what) {
    throw boost::system::system_error(boost::system::error_code(number, boost::system::system_category()), what);
}

/// A pipe whose ends are closed in every program that is started.
class Pipe {
public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            ThrowErrno(errno, "pipe");
        }
    }
    ~Pipe() {
        CloseEnd(ends_[0]);
        CloseEnd(ends_[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int ReadEnd() const { return ends_[0]; }
    int WriteEnd() const { return ends_[1]; }
    int ReleaseReadEnd() { return std::exchange(ends_[0], -1); }
    void CloseWriteEnd() { CloseEnd(ends_[1]); }

private:
    static void CloseEnd(int& end) {
        if (end >= 0) {
            close(std::exchange(end, -1));
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

/// The launcher's environment with `changes` in it.
std::vector<std::string> MergedEnvironment(const std::vector<std::string>& changes) {
    std::vector<std::string> merged = changes;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view variable(*entry);
        const auto nameLength = variable.find('=') + 1;
        bool isReplaced = false;
        for (const std::string& change : changes) {
            isReplaced = isReplaced || change.compare(0, nameLength, variable, 0, nameLength) == 0;
        }
        if (!isReplaced) {
            merged.emplace_back(variable);
        }
    }
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// All that the new process needs, made ready before fork.
struct Launch {
    const char* program;
    char* const* arguments;
    char* const* environment;
    int input;
    int output;
    int failure;  ///< takes the error when the program cannot be started
    int descriptorLimit;
    pid_t parent;
};

/// Leaves the launcher's descriptors to the launcher: not every library marks its own ones to be closed.
void CloseDescriptorsOnExec(int limit) {
    if (close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
    for (int descriptor = STDERR_FILENO + 1; descriptor < limit; ++descriptor) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
}

/// Runs behind fork: async-signal-safe calls only.
[[noreturn]] void BecomeProgram(const Launch& launch) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const bool isOrphan = getppid() != launch.parent;
    if (!isOrphan && dup2(launch.input, STDIN_FILENO) >= 0 && dup2(launch.output, STDOUT_FILENO) >= 0 &&
        dup2(launch.output, STDERR_FILENO) >= 0) {
        CloseDescriptorsOnExec(launch.descriptorLimit);
        execve(launch.program, launch.arguments, launch.environment);
    }
    const int reason = errno;
    const ssize_t written = write(launch.failure, &reason, sizeof(reason));
    _exit(written == sizeof(reason) ? 127 : 126);
}

/// The error that kept the program from starting; 0 when it started.
int ReadFailure(int descriptor) {
    int reason = 0;
    ssize_t count = 0;
    do {
        count = read(descriptor, &reason, sizeof(reason));
    } while (count < 0 && errno == EINTR);
    return count == sizeof(reason) ? reason : 0;
}

std::string Describe(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    }
    return "exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::shared_ptr<LaunchedProcess> LaunchedProcess::Start(boost::asio::io_context& io, const LaunchCommand& command,
                                                        Handlers handlers) {
    std::shared_ptr<LaunchedProcess> child(new LaunchedProcess(io, std::move(handlers)));
    child->Spawn(command);
    child->ReadOutput();
    boost::asio::post(io, [child] { child->WaitForExit(); });
    return child;
}

LaunchedProcess::LaunchedProcess(boost::asio::io_context& io, Handlers handlers)
    : handlers_(std::move(handlers)), childSignal_(io, SIGCHLD), output_(io), grace_(io) {}

void LaunchedProcess::Spawn(const LaunchCommand& command) {
    std::vector<std::string> arguments = command.arguments;
    arguments.insert(arguments.begin(), command.program);
    std::vector<std::string> environment = MergedEnvironment(command.environment);
    const std::vector<char*> argumentPointers = Pointers(arguments);
    const std::vector<char*> environmentPointers = Pointers(environment);

    Pipe output;
    Pipe failure;
    const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const Launch launch{command.program.c_str(),
                        argumentPointers.data(),
                        environmentPointers.data(),
                        input,
                        output.WriteEnd(),
                        failure.WriteEnd(),
                        static_cast<int>(sysconf(_SC_OPEN_MAX)),
                        getpid()};
    const pid_t pid = input < 0 ? -1 : fork();
    if (pid == 0) {
        BecomeProgram(launch);
    }
    const int error = errno;
    if (input >= 0) {
        close(input);
    }
    if (pid < 0) {
        ThrowErrno(error, command.program);
    }
    failure.CloseWriteEnd();
    if (const int reason = ReadFailure(failure.ReadEnd())) {
        waitpid(pid, nullptr, 0);
        ThrowErrno(reason, command.program);
    }
    pid_ = pid;
    output_.assign(output.ReleaseReadEnd());
    output_.non_blocking(true);
}

void LaunchedProcess::Stop(std::chrono::steady_clock::duration grace) {
    // Its last lines are read after it was reaped: whoever reacts to them may come here without a process.
    if (isStopping_ || pid_ <= 0) {
        return;
    }
    isStopping_ = true;
    kill(pid_, SIGTERM);
    grace_.expires_after(grace);
    grace_.async_wait([self = shared_from_this(), grace](const boost::system::error_code& error) {
        if (!error) {
            std::ostringstream reason;
            reason << ", for it did not end within " << std::chrono::duration<double>(grace).count() << " s";
            self->overdue_ = reason.str();
            self->Kill();
        }
    });
}

void LaunchedProcess::Kill() const {
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
    }
}

void LaunchedProcess::ReadOutput() {
    output_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                       [self = shared_from_this()](const boost::system::error_code& error) {
                           if (!error && self->output_.is_open()) {
                               self->DrainOutput();
                               if (self->output_.is_open()) {
                                   self->ReadOutput();
                               }
                           }
                       });
}

void LaunchedProcess::WaitForExit() {
    // No exit is missed: the signal set collects signals from its construction on.
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0) {
        childSignal_.async_wait([self = shared_from_this()](const boost::system::error_code& error, int) {
            if (!error) {
                self->WaitForExit();
            }
        });
        return;
    }
    // The process group is killed before its leader is reaped: after that its number could be another's.
    Kill();
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    grace_.cancel();
    DrainOutput();
    output_.close();
    if (!pending_.empty()) {
        handlers_.onOutput(std::exchange(pending_, {}));
    }
    const Handlers handlers = std::exchange(handlers_, {});
    handlers.onExit(DescribeEnd(status));
}

ProcessEnd LaunchedProcess::DescribeEnd(int status) const {
    if (!WIFSIGNALED(status)) {
        return {Describe(status), WEXITSTATUS(status) == 0};
    }
    const int signal = WTERMSIG(status);
    return {Describe(status) + (signal == SIGKILL ? overdue_ : ""), isStopping_ && signal == SIGTERM};
}

void LaunchedProcess::DrainOutput() {
    std::array<char, ReadSize> buffer{};
    boost::system::error_code error;
    for (int round = 0; round < ReadsAtOnce && !error; ++round) {
        const std::size_t count = output_.read_some(boost::asio::buffer(buffer), error);
        pending_.append(buffer.data(), count);
        DeliverLines();
    }
    if (error && error != boost::asio::error::would_block) {
        output_.close();
    }
}

void LaunchedProcess::DeliverLines() {
    for (auto end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n')) {
        const std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        handlers_.onOutput(line);
    }
    if (pending_.size() > LongestLine) {
        handlers_.onOutput(std::exchange(pending_, {}));
    }
}

}  // namespace LocalDevice
