// The launcher, in the installation that its first argument names.

#include "LocalDeviceProgram.h"

int main(int argc, char** argv) {
    return argc < 2 ? 2 : LocalDevice::RunLocalDevice(argv[1], {argv + 2, argv + argc});
}
