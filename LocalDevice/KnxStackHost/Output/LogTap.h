#pragma once

#include <log4cplus/logger.h>

#include <functional>
#include <string>

namespace LocalDevice {

/// The logger that the application program logs to.
log4cplus::Logger GetApplicationLogger();

/// Hands the lines of the application program's log to a handler, on the thread that logs, for as long as it lives.
class LogTap {
public:
    /// Called for one line at a time. Throws nothing, and neither logs nor calls the application program.
    using Handler = std::function<void(log4cplus::LogLevel level, const std::string& line)>;

    /// Hears the lines from `threshold` on that the logger lets through.
    LogTap(log4cplus::LogLevel threshold, Handler handler);
    /// On return the handler is not running, and no call follows.
    ~LogTap();
    LogTap(const LogTap&) = delete;
    LogTap& operator=(const LogTap&) = delete;

private:
    log4cplus::Logger logger_;
    const log4cplus::SharedAppenderPtr appender_;
};

}  // namespace LocalDevice
