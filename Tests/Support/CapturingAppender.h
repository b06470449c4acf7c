#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>

#include <boost/thread/mutex.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace TestSupport {

/// One log line, as a test compares it.
struct LogLine {
    std::string level;
    std::string text;
    std::string thread{};  ///< that logged it, as log4cplus names it; not compared

    friend bool operator==(const LogLine& a, const LogLine& b) { return a.level == b.level && a.text == b.text; }
    friend std::ostream& operator<<(std::ostream& stream, const LogLine& line) {
        return stream << line.level << ' ' << line.text;
    }
};

/// Captures all lines of one logger, from every level on, for as long as it lives. Thread-safe.
class LogCapture {
public:
    /// `name`: the logger's. The logger passes nothing on to its parents meanwhile.
    explicit LogCapture(const std::string& name = "Test");
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    log4cplus::Logger& GetLogger() { return logger_; }

    std::vector<LogLine> GetLines() const;
    /// The lines, and forgets them.
    std::vector<LogLine> TakeLines();

    /// Where the last line came from, "FILE:LINE".
    std::string GetLastSource() const;

private:
    class Appender;

    log4cplus::Logger logger_;
    log4cplus::SharedAppenderPtr appender_;
};

/// Captures what goes to the global default logger (which is made the logger "KnxStack.ApplicationProgram").
class GlobalLogCapture : public LogCapture {
public:
    GlobalLogCapture();
};

}  // namespace TestSupport
