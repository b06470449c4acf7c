#pragma once

#include <log4cplus/logger.h>

#include <exception>

#include "PrefixedLogger.h"

namespace Zandrel {

/// Log `failure` as one ERROR line of `function`, in the form that belongs to the logger.
void LogException(const PrefixedLogger& log, const char* function, const std::exception& failure) noexcept;
void LogException(const log4cplus::Logger& logger, const char* function, const std::exception& failure) noexcept;

/// The result of `action`, a bool; an exception ends here, in one ERROR line of `function` and false. An interruption
/// of the thread is no `std::exception` and passes.
template <typename Log, typename Action>
bool ContainExceptions(const Log& log, const char* function, const Action& action) {
    try {
        return action();
    } catch (const std::exception& failure) {
        LogException(log, function, failure);
        return false;
    }
}

}  // namespace Zandrel
