// The three functions that a KNX stack's host finds by name. Everything else in the library is hidden.
//
// The two log statements stay on lines 25 and 31: a device's log names the place of its first and last line, and people
// and tools look for them there.

#include <log4cplus/logger.h>

#include "KnxStack/IApplicationProgram.h"
#include "Orn/Logging.h"
#include "OrnKnxAppPrg.h"
#include "Zandrel/Logging.h"

#define ORN_EXPORT __attribute__((visibility("default")))

extern "C" {

ORN_EXPORT std::uint32_t getKnxStackApiVersion() {
    return KnxStack::ApiVersion;
}

ORN_EXPORT KnxStack::IApplicationProgram* createApplicationProgram() {
    const auto logger = log4cplus::Logger::getInstance("KnxStack.ApplicationProgram");
    Zandrel::SetCentralLoggerOnce(logger);

    ORN_LOG_GLOBAL(DEBUG, "createApplicationProgram()");

    return new Zandrel::OrnKnxAppPrg(logger);  // NOLINT(cppcoreguidelines-owning-memory): the host owns it
}

ORN_EXPORT void deleteApplicationProgram(KnxStack::IApplicationProgram* applicationProgram) {
    ORN_LOG_GLOBAL(DEBUG, "deleteApplicationProgram()");
    delete applicationProgram;  // NOLINT(cppcoreguidelines-owning-memory): handed back by the host
}
}
