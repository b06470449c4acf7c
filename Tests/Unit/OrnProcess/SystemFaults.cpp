#include "SystemFaults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>

namespace {

/// The function that a program without this one would call, a sanitizer's included.
template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Before main, so that nothing is looked up between fork and exec.
const auto nextWaitpid = Next<pid_t(pid_t, int*, int)>("waitpid");
const auto nextKill = Next<int(pid_t, int)>("kill");
const auto nextFork = Next<pid_t()>("fork");
const auto nextRead = Next<ssize_t(int, void*, size_t)>("read");
const auto nextFcntl = Next<int(int, int, ...)>("fcntl");
const auto nextExecv = Next<int(const char*, char* const*)>("execv");
const auto nextStatus =
    Next<boost::filesystem::file_status(const boost::filesystem::path&, boost::system::error_code*)>(
        "_ZN5boost10filesystem6detail6statusERKNS0_4pathEPNS_6system10error_codeE");
const auto nextSyscall = Next<long(long, ...)>("syscall");

/// True when the fault is on; switches it off and sets errno.
bool Fails(std::atomic<int>& fault) {
    const int error = fault.exchange(0);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

bool CountDown(std::atomic<int>& left) {
    int value = left;
    while (value > 0 && !left.compare_exchange_weak(value, value - 1)) {
    }
    return value > 0;
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's names are reserved ones
extern "C" {

pid_t waitpid(pid_t pid, int* status, int options) {
    ++SystemFaults::waitpidCalls;
    if (CountDown(SystemFaults::waitpidInterruptions)) {
        errno = EINTR;
        return -1;
    }
    if (Fails(SystemFaults::waitpidError)) {
        return -1;
    }
    if (const int fake = SystemFaults::waitpidStatus.exchange(0)) {
        *status = fake;
        return pid;
    }
    const pid_t result = nextWaitpid(pid, status, options);
    if (result > 0 && status != nullptr) {
        SystemFaults::lastWaitStatus = *status;
    }
    SystemFaults::strayCalls += result == -1 && errno == ECHILD ? 1 : 0;
    return result;
}

int kill(pid_t pid, int signal) noexcept {
    ++SystemFaults::killCalls;
    if (SystemFaults::killsAreLost) {
        return 0;
    }
    const int result = nextKill(pid, signal);
    SystemFaults::strayCalls += result == -1 && errno == ESRCH ? 1 : 0;
    return result;
}

pid_t fork() noexcept {
    if (SystemFaults::strangerForks.exchange(false)) {
        SystemFaults::stranger = nextFork();
        while (SystemFaults::stranger == 0) {
            if (const char* const program = SystemFaults::strangerProgram) {
                execl(program, program, nullptr);
            }
            pause();
        }
    }
    return Fails(SystemFaults::forkError) ? -1 : nextFork();
}

int execv(const char* program, char* const* arguments) noexcept {
    const char* const mono = SystemFaults::mono;
    return nextExecv(mono != nullptr && std::strcmp(program, "/usr/bin/mono") == 0 ? mono : program, arguments);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
    return Fails(SystemFaults::readError) ? -1 : nextRead(descriptor, buffer, size);
}

int fcntl(int descriptor, int command, ...) {
    if (command == F_DUPFD_CLOEXEC && Fails(SystemFaults::duplicationError)) {
        return -1;
    }
    va_list list;
    va_start(list, command);
    const long argument = va_arg(list, long);
    va_end(list);
    return nextFcntl(descriptor, command, argument);
}

long syscall(long number, ...) noexcept {
    if (number == SYS_close_range && SystemFaults::closeRangeIsMissing) {
        errno = ENOSYS;
        return -1;
    }
    va_list list;
    va_start(list, number);
    const long a = va_arg(list, long);
    const long b = va_arg(list, long);
    const long c = va_arg(list, long);
    const long d = va_arg(list, long);
    const long e = va_arg(list, long);
    const long f = va_arg(list, long);
    va_end(list);
    return nextSyscall(number, a, b, c, d, e, f);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace boost::filesystem::detail {

file_status status(const path& p, system::error_code* ec) {
    constexpr useconds_t Pause = 1000;
    for (const char* held = nullptr; (held = SystemFaults::heldFile) != nullptr && p == held;) {
        SystemFaults::isSomebodyHeld = true;
        usleep(Pause);
    }
    return nextStatus(p, ec);
}

}  // namespace boost::filesystem::detail
