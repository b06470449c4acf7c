// Starts the program of its arguments and waits: killed, it leaves an orphan behind.

#include <unistd.h>

#include <iostream>

int main(int argc, char** argv) {
    if (argc < 2) {
        return 2;
    }
    const pid_t child = fork();
    if (child == 0) {
        execv(argv[1], argv + 1);
        _exit(1);
    }
    std::cout << "started " << child << std::endl;
    pause();
    return 0;
}
