#include "OpenStandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace LocalDevice {

void OpenStandardStreams() {
    int descriptor = STDIN_FILENO;
    while (descriptor != -1 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDONLY);  // the lowest one that is free
    }
    if (descriptor != -1) {
        close(descriptor);
    }
}

}  // namespace LocalDevice
