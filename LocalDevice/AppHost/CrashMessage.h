#pragma once

namespace LocalDevice {

/// Lets a crash of the process, which is most likely one of its app, say so on the standard error output, with a call
/// stack, before it takes its course. Leaves a signal alone that somebody else handles already. Called once, on the app
/// thread.
void InstallCrashMessage();

}  // namespace LocalDevice
