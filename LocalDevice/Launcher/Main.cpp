#include "Installation.h"
#include "LocalDeviceProgram.h"

int main(int argc, char** argv) {
    return LocalDevice::RunLocalDevice(LocalDevice::GetProgramDirectory(), {argv + 1, argv + argc});
}
