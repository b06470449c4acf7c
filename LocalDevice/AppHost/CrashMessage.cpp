#include "CrashMessage.h"

#include <execinfo.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <string_view>

namespace LocalDevice {

namespace {

constexpr int MaxFrames = 64;
constexpr std::size_t StackSize = 65536;

void Write(std::string_view text) {
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) {
        return;  // nobody reads it; there is no other place to go
    }
}

/// Async-signal-safe: the call stack's library was loaded by an earlier call.
void OnCrash(int signal) {
    Write("ornapphost: the app has crashed; call stack:\n");
    std::array<void*, MaxFrames> frames{};
    backtrace_symbols_fd(frames.data(), backtrace(frames.data(), MaxFrames), STDERR_FILENO);
    static_cast<void>(raise(signal));  // the handler is not installed any more: this is the end
}

}  // namespace

void InstallCrashMessage() {
    std::array<void*, 1> frame{};
    backtrace(frame.data(), 1);

    // A stack of its own, for the crash of one that is full.
    static std::array<std::byte, StackSize> stack;
    const stack_t alternative{stack.data(), 0, stack.size()};
    sigaltstack(&alternative, nullptr);

    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_DFL) {
            continue;
        }
        action.sa_handler = &OnCrash;
        action.sa_flags = SA_ONSTACK | SA_NODEFER | static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

}  // namespace LocalDevice
