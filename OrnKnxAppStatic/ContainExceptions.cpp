#include "ContainExceptions.h"

namespace Zandrel {

namespace {

constexpr const char* Unexpected = "Unexpected failure: ";

}  // namespace

void LogException(const PrefixedLogger& log, const char* function, const std::exception& failure) noexcept {
    try {
        ORN_LOG_AS(function, log, ERROR, Unexpected << failure.what());
    } catch (...) {  // NOLINT(bugprone-empty-catch): with no memory left for a line there is nothing more to say
    }
}

void LogException(const log4cplus::Logger& logger, const char* function, const std::exception& failure) noexcept {
    try {
        ORN_LOG_LINE(logger, ERROR, function << " - " << Unexpected << failure.what());
    } catch (...) {  // NOLINT(bugprone-empty-catch): as above
    }
}

}  // namespace Zandrel
