#include "PrefixedLogger.h"

#include "CallStack.h"

namespace Zandrel {

// Not inlined: the call stack leaves its frame out.
[[gnu::noinline]] std::string PrefixedLine(const std::string& prefix, const char* function, log4cplus::LogLevel level,
                                           const std::string& message) {
    std::string line;
    if (!prefix.empty()) {
        line.append("[").append(prefix).append("] ");
    }
    line.append(function).append(" - ").append(message);
    if (prefix.empty() && level >= log4cplus::ERROR_LOG_LEVEL) {
        line.append(" [").append(CaptureCallStackWithBacktrace()).append("]");
    }
    return line;
}

}  // namespace Zandrel
