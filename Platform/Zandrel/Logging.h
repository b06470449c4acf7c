#pragma once

#include <log4cplus/logger.h>

#include <iosfwd>
#include <string>

namespace Zandrel {

/// Makes `logger` the process-wide default logger. Only the first call counts. Callable from any thread.
void SetCentralLoggerOnce(const log4cplus::Logger& logger);

/// The logger of `SetCentralLoggerOnce`, or log4cplus's root logger before that. Callable from any thread. The
/// reference stays valid for as long as the process lives.
const log4cplus::Logger& GetGlobalDefaultLogger();

/// Prints where a log line comes from: "FUNCTION (FILE:LINE)". Keeps the pointers only: for use within one statement.
class PrettyFunctionNamePrinter {
public:
    PrettyFunctionNamePrinter(const char* function, const char* file, int line) noexcept
        : function_(function), file_(file), line_(line) {}
    friend std::ostream& operator<<(std::ostream& stream, const PrettyFunctionNamePrinter& printer);

private:
    const char* function_;
    const char* file_;
    int line_;
};

/// Raise and lower the calling thread's nesting of logged calls.
void IncreaseLoggingRecursionDepth() noexcept;
void DecreaseLoggingRecursionDepth() noexcept;

/// Prints two blanks for each level of the calling thread's nesting of logged calls.
struct LoggingRecursionPadding {
    friend std::ostream& operator<<(std::ostream& stream, const LoggingRecursionPadding& padding);
};

}  // namespace Zandrel
