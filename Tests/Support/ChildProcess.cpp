#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/lock_guard.hpp>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace TestSupport {

namespace {

using SteadyClock = boost::chrono::steady_clock;

SteadyClock::time_point DeadlineAfter(ChildProcess::Milliseconds limit) {
    return SteadyClock::now() + boost::chrono::milliseconds(limit.count());
}

void Check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

struct Pipe {
    int readEnd;
    int writeEnd;
};

Pipe MakePipe() {
    std::array<int, 2> ends{};
    Check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
    return {ends[0], ends[1]};
}

std::vector<std::string> MergeEnvironment(ChildProcess::Environment variables) {
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t end = text.find('=');
        variables.emplace(text.substr(0, end), end == std::string::npos ? "" : text.substr(end + 1));
    }
    std::vector<std::string> merged;
    merged.reserve(variables.size());
    for (const auto& [name, value] : variables) {
        merged.push_back(std::string(name).append("=").append(value));
    }
    return merged;
}

std::vector<char*> ToPointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// The null device as input, the two pipes as outputs, a process group of its own and no inherited signal mask.
pid_t Spawn(const std::string& program, const std::vector<std::string>& arguments,
            const ChildProcess::Environment& environment, int output, int error) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = MergeEnvironment(environment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);

    pid_t pid = -1;
    const int result = posix_spawn(&pid, program.c_str(), &actions, &attributes, ToPointers(words).data(),
                                   ToPointers(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    Check(result, "cannot start " + program);
    return pid;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ExitStatus& status) {
    if (status.signal) {
        return stream << "killed by signal " << *status.signal;
    }
    return stream << "exit code " << status.code.value_or(-1);
}

void ChildProcess::Output::Append(const char* text, std::size_t size) {
    rest.append(text, size);
    std::size_t begin = 0;
    for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', begin)) {
        lines.push_back(rest.substr(begin, end - begin));
        begin = end + 1;
    }
    rest.erase(0, begin);
}

void ChildProcess::Output::Close() {
    if (!rest.empty()) {
        lines.push_back(std::move(rest));
        rest.clear();
    }
    open = false;
}

const std::string* ChildProcess::Output::Find(const std::string& part) const {
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&part](const std::string& line) { return line.find(part) != std::string::npos; });
    return found == lines.end() ? nullptr : &*found;
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const Environment& environment) {
    const Pipe output = MakePipe();
    const Pipe error = MakePipe();
    outputPipe_ = output.readEnd;
    errorPipe_ = error.readEnd;
    stopEvent_ = eventfd(0, EFD_CLOEXEC);
    const auto closeWriteEnds = [&output, &error] {
        close(output.writeEnd);
        close(error.writeEnd);
    };
    try {
        pid_ = Spawn(program, arguments, environment, output.writeEnd, error.writeEnd);
    } catch (...) {
        closeWriteEnds();
        close(outputPipe_);
        close(errorPipe_);
        close(stopEvent_);
        throw;
    }
    closeWriteEnds();
    reader_ = boost::thread([this] { ReadOutputs(); });
}

ChildProcess::~ChildProcess() {
    // Until the program is reaped its number, which is the group's too, cannot go to anybody else.
    kill(-pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stopEvent_, &one, sizeof(one));
    reader_.join();
    close(outputPipe_);
    close(errorPipe_);
    close(stopEvent_);
}

std::vector<std::string> ChildProcess::GetOutputLines() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return output_.lines;
}

std::vector<std::string> ChildProcess::GetErrorLines() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return error_.lines;
}

std::optional<std::string> ChildProcess::WaitForLine(const std::string& part, Milliseconds limit) {
    const SteadyClock::time_point deadline = DeadlineAfter(limit);
    boost::unique_lock<boost::mutex> lock(mutex_);
    for (;;) {
        for (const Output* output : {&output_, &error_}) {
            if (const std::string* line = output->Find(part)) {
                return *line;
            }
        }
        if ((!output_.open && !error_.open) || SteadyClock::now() >= deadline) {
            return std::nullopt;
        }
        changed_.wait_until(lock, deadline);
    }
}

bool ChildProcess::Signal(int signal) {
    return !HasExited() && kill(pid_, signal) == 0;
}

std::optional<ExitStatus> ChildProcess::WaitForExit(Milliseconds limit) {
    constexpr boost::chrono::milliseconds Poll{2};
    const SteadyClock::time_point deadline = DeadlineAfter(limit);
    while (!HasExited()) {
        if (SteadyClock::now() >= deadline) {
            return std::nullopt;
        }
        boost::this_thread::sleep_for(Poll);
    }
    // What the program wrote last may still be on its way through the pipes.
    const SteadyClock::time_point drained = DeadlineAfter(Milliseconds(1000));
    boost::unique_lock<boost::mutex> lock(mutex_);
    while ((output_.open || error_.open) && SteadyClock::now() < drained) {
        changed_.wait_until(lock, drained);
    }
    return exitStatus_;
}

bool ChildProcess::HasExited() {
    siginfo_t info{};
    if (!exitStatus_ && waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == pid_) {
        exitStatus_ =
            info.si_code == CLD_EXITED ? ExitStatus::Exited(info.si_status) : ExitStatus::Killed(info.si_status);
    }
    return exitStatus_.has_value();
}

void ChildProcess::ReadOutputs() {
    std::array<pollfd, 3> polled{pollfd{outputPipe_, POLLIN, 0}, pollfd{errorPipe_, POLLIN, 0},
                                 pollfd{stopEvent_, POLLIN, 0}};
    while (polled[0].fd >= 0 || polled[1].fd >= 0) {
        if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        if (polled[0].revents != 0 && !ReadSome(outputPipe_, output_)) {
            polled[0].fd = -1;
        }
        if (polled[1].revents != 0 && !ReadSome(errorPipe_, error_)) {
            polled[1].fd = -1;
        }
        if (polled[2].revents != 0) {
            return;
        }
    }
}

bool ChildProcess::ReadSome(int descriptor, Output& output) {
    std::array<char, 65536> buffer{};
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) {
        return true;
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (size > 0) {
        output.Append(buffer.data(), static_cast<std::size_t>(size));
    } else {
        output.Close();
    }
    changed_.notify_all();
    return size > 0;
}

}  // namespace TestSupport
