#include "Installation.h"
#include "LocalDeviceProgram.h"
#include "OpenStandardStreams.h"

int main(int argc, char** argv) {
    LocalDevice::OpenStandardStreams();
    return LocalDevice::RunLocalDevice(LocalDevice::GetProgramDirectory(), {argv + 1, argv + argc});
}
