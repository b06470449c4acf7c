// The launcher, in the installation that its first argument names. HOST_GRACE: the milliseconds that a host may take to
// end, if others than a launcher's.

#include <cstdlib>
#include <string>

#include "LocalDeviceProgram.h"

int main(int argc, char** argv) {
    LocalDevice::LauncherGraces graces;
    if (const char* const milliseconds = std::getenv("HOST_GRACE")) {
        graces.host = std::chrono::milliseconds(std::stol(milliseconds));
    }
    return argc < 2 ? 2 : LocalDevice::RunLocalDevice(argv[1], {argv + 2, argv + argc}, graces);
}
