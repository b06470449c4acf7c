// A child process that behaves as its first argument says.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

void WaitForEver() {
    while (true) {
        pause();
    }
}

int CountInheritedDescriptors() {
    int count = 0;
    for (int descriptor = STDERR_FILENO + 1; descriptor < 1024; ++descriptor) {
        count += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
    }
    return count;
}

int Behave(const std::string& manner, const std::string& argument) {
    if (manner == "exit") {
        return std::stoi(argument);
    }
    if (manner == "print") {
        std::cout << argument << std::flush;
    } else if (manner == "complain") {
        std::cerr << argument << std::flush;
    } else if (manner == "environment") {
        const char* const value = std::getenv(argument.c_str());
        std::cout << (value == nullptr ? "unset" : value) << '\n';
    } else if (manner == "descriptors") {
        std::cout << CountInheritedDescriptors() << '\n';
    } else if (manner == "group") {
        std::cout << (getpgrp() == getpid() ? "own group" : "inherited group") << '\n';
    } else if (manner == "abort") {
        std::abort();
    } else if (manner == "wait") {
        std::cout << "waiting\n" << std::flush;
        WaitForEver();
    } else if (manner == "ignore") {
        std::signal(SIGTERM, SIG_IGN);  // NOLINT(cert-err33-c): it cannot fail
        std::cout << "waiting\n" << std::flush;
        WaitForEver();
    } else if (manner == "leave") {
        // Ends and leaves a process of its group behind, which holds its output.
        const pid_t left = fork();
        if (left == 0) {
            WaitForEver();
        }
        std::cout << left << '\n';
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string manner = argc > 1 ? argv[1] : "";
    const std::string argument = argc > 2 ? argv[2] : "";
    return Behave(manner, argument);
}
