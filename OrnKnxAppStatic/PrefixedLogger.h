#pragma once

#include <memory>
#include <string>
#include <utility>

#include "AppIdentity.h"
#include "Orn/Logging.h"

namespace Zandrel {

/// A logger whose lines start with the id of the loaded app, once there is one. A plain value; thread-safe.
class PrefixedLogger {
public:
    PrefixedLogger(log4cplus::Logger logger, std::shared_ptr<const AppIdentity> identity)
        : logger_(std::move(logger)), identity_(std::move(identity)) {}

    const log4cplus::Logger& GetLogger() const noexcept { return logger_; }
    std::string GetPrefix() const { return identity_->GetAppId(); }

private:
    log4cplus::Logger logger_;
    std::shared_ptr<const AppIdentity> identity_;
};

/// One line in the prefix form: "[" prefix "] " function " - " message; without a prefix function " - " message, and on
/// ERROR and FATAL " [" call stack "]".
std::string PrefixedLine(const std::string& prefix, const char* function, log4cplus::LogLevel level,
                         const std::string& message);

}  // namespace Zandrel

/// Logs one line in the prefix form under the name of `function`. The message is built only when the level is on.
#define ORN_LOG_PREFIXED_AS(function, logger, prefix, LEVEL, message)                                        \
    do {                                                                                                     \
        const log4cplus::Logger& ornLogger = (logger);                                                       \
        if (ornLogger.isEnabledFor(log4cplus::LEVEL##_LOG_LEVEL)) {                                          \
            const char* const ornFunction = (function);                                                      \
            ornLogger.forcedLog(log4cplus::LEVEL##_LOG_LEVEL,                                                \
                                ::Zandrel::PrefixedLine((prefix), ornFunction, log4cplus::LEVEL##_LOG_LEVEL, \
                                                        (::Zandrel::MessageStream{} << message).Text()),     \
                                ORN_SOURCE_NAME, __LINE__, ornFunction);                                     \
        }                                                                                                    \
    } while (false)

/// The same under the name of the function that logs.
#define ORN_LOG_PREFIXED(logger, prefix, LEVEL, message) \
    ORN_LOG_PREFIXED_AS(static_cast<const char*>(__func__), logger, prefix, LEVEL, message)

/// The two through a `PrefixedLogger`. `ORN_LOG_AS` is for steps that several functions share.
#define ORN_LOG(log, LEVEL, message) ORN_LOG_PREFIXED((log).GetLogger(), (log).GetPrefix(), LEVEL, message)
#define ORN_LOG_AS(function, log, LEVEL, message) \
    ORN_LOG_PREFIXED_AS(function, (log).GetLogger(), (log).GetPrefix(), LEVEL, message)
