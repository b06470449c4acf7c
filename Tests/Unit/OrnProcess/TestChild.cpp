/// A child for tests. Its first argument says what it does:
///
///     end            ends with status 0
///     exit N         ends with status N
///     pause          runs until a signal ends it
///     until-eof      ends with status 0 when its standard input does
///     arguments ...  prints the others, one a line
///     descriptors    prints its open descriptors in one line
///     signals        prints which signals it blocks and which it ignores
///     streams        prints "out" on its standard output, "err" on its standard error
///     stop-traced    stops, traced by its parent
///
/// With any other first argument it runs until a signal ends it, whatever follows. In mono's place it does what the
/// name of the managed app says.

#include <dirent.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <set>
#include <string>

namespace {

int Pause() {
    while (true) {
        pause();
    }
}

int ReadUntilEof() {
    std::array<char, 64> buffer{};
    while (read(STDIN_FILENO, buffer.data(), buffer.size()) > 0) {
    }
    return 0;
}

int PrintDescriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    if (folder == nullptr) {
        return 1;
    }
    std::set<int> descriptors;
    while (const dirent* const entry = readdir(folder)) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name[0] != '.' && std::stoi(name) != dirfd(folder)) {
            descriptors.insert(std::stoi(name));
        }
    }
    closedir(folder);
    for (const int descriptor : descriptors) {
        std::cout << descriptor << ' ';
    }
    std::cout << '\n';
    return 0;
}

int PrintSignals() {
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigismember(&blocked, number) == 1) {
            std::cout << "blocked " << number << '\n';
        }
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            std::cout << "ignored " << number << '\n';
        }
    }
    return 0;
}

int StopTraced() {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        return 1;
    }
    return raise(SIGSTOP);
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int MonoArguments = 2;
    if (argc > MonoArguments && std::string(argv[1]) == "--runtime=v4.0") {
        argc -= MonoArguments;
        argv += MonoArguments;
    }
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "end") {
        return 0;
    }
    if (command == "exit" && argc > 2) {
        return std::stoi(argv[2]);
    }
    if (command == "until-eof") {
        return ReadUntilEof();
    }
    if (command == "arguments") {
        for (int i = 2; i < argc; ++i) {
            std::cout << argv[i] << '\n';
        }
        return 0;
    }
    if (command == "descriptors") {
        return PrintDescriptors();
    }
    if (command == "signals") {
        return PrintSignals();
    }
    if (command == "streams") {
        std::cout << "out";
        std::cerr << "err";
        return 0;
    }
    if (command == "stop-traced") {
        return StopTraced();
    }
    return Pause();
}
