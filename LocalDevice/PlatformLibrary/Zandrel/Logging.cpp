#include "Zandrel/Logging.h"

#include <atomic>
#include <memory>
#include <ostream>

namespace Zandrel {
namespace {

// Never destroyed: a thread may still log while the process ends.
std::atomic<const log4cplus::Logger*> centralLogger{nullptr};

thread_local unsigned int recursionDepth = 0;

}  // namespace

void SetCentralLoggerOnce(const log4cplus::Logger& logger) {
    auto candidate = std::make_unique<const log4cplus::Logger>(logger);
    const log4cplus::Logger* none = nullptr;
    if (centralLogger.compare_exchange_strong(none, candidate.get())) {
        candidate.release();  // NOLINT(bugprone-unused-return-value): centralLogger holds it
    }
}

const log4cplus::Logger& GetGlobalDefaultLogger() {
    if (const log4cplus::Logger* const logger = centralLogger.load()) {
        return *logger;
    }
    // Never destroyed either.
    static const auto& root = *std::make_unique<const log4cplus::Logger>(log4cplus::Logger::getRoot()).release();
    return root;
}

std::ostream& operator<<(std::ostream& stream, const PrettyFunctionNamePrinter& printer) {
    return stream << printer.function_ << " (" << printer.file_ << ':' << printer.line_ << ')';
}

void IncreaseLoggingRecursionDepth() noexcept {
    ++recursionDepth;
}

void DecreaseLoggingRecursionDepth() noexcept {
    if (recursionDepth > 0) {
        --recursionDepth;
    }
}

std::ostream& operator<<(std::ostream& stream, const LoggingRecursionPadding& /*padding*/) {
    for (unsigned int level = 0; level < recursionDepth; ++level) {
        stream << "  ";
    }
    return stream;
}

}  // namespace Zandrel
