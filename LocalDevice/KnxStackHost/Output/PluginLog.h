#pragma once

#include <log4cplus/initializer.h>

#include <string>

#include "Output/HostEvents.h"
#include "Output/LogTap.h"

namespace LocalDevice {

/// Sets log4cplus up for the plug-in, for as long as the object lives: its logger lets through what a `LogTap` may want
/// to hear, what it says from INFO on becomes events, and all levels of all loggers go to a file where one is given.
class PluginLog {
public:
    static constexpr long FileLimit = 100L * 1024 * 1024;

    /// `file`: empty for none. One that has grown to `fileLimit` bytes, 200 kB at least, becomes `file`.1, in the place
    /// of the one before it. Throws `std::runtime_error`, one line, when it cannot be written.
    PluginLog(HostEvents& events, const std::string& file, long fileLimit = FileLimit);
    ~PluginLog();
    PluginLog(const PluginLog&) = delete;
    PluginLog& operator=(const PluginLog&) = delete;

private:
    const log4cplus::Initializer initializer_;
    const LogTap tap_;
};

}  // namespace LocalDevice
