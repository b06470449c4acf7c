#pragma once

#include "ControlOptions.h"

namespace LocalDevice {

/// Carries out what the command line asks for and prints the answer. Throws `ControlError` where that fails.
void RunControlCommand(const ControlOptions& options);

}  // namespace LocalDevice
