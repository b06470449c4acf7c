#pragma once

#include "CliOptions.h"

namespace LocalDevice {

/// Does what the command line asks for; prints to standard output. Throws `ServiceError`.
void RunCommand(const CliOptions& options);

}  // namespace LocalDevice
