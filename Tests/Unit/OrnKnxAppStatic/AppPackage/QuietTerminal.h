#pragma once

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

/// For the process of a death test: does `work` with a terminal on which nobody answers, and ends with 0 when it gave
/// true and nothing was asked there.
template <typename Work>
[[noreturn]] void ExitOnAQuietTerminal(unsigned secondsAtMost, const Work& work) {
    alarm(secondsAtMost);
    int user = -1;
    int program = -1;
    const bool hasTerminal =
        openpty(&user, &program, nullptr, nullptr, nullptr) == 0 && setsid() != -1 && ioctl(program, TIOCSCTTY, 0) == 0;
    const bool isDone = work();
    pollfd output{user, POLLIN, 0};
    const bool isQuiet = poll(&output, 1, 0) == 0;
    _exit(hasTerminal && isQuiet && isDone ? 0 : 1);
}
