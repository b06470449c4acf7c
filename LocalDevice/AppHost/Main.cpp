#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "AppLibrary.h"
#include "CrashMessage.h"
#include "Program.h"
#include "Zandrel/Logging.h"

namespace {

constexpr int BadCall = 2;

/// The log goes to the standard error output from INFO on, or where the log4cplus properties file ORN_LOG_PROPERTIES
/// says.
void SetUpLog() {
    const char* const properties = std::getenv("ORN_LOG_PROPERTIES");
    if (properties != nullptr && *properties != '\0') {
        log4cplus::PropertyConfigurator::doConfigure(properties);
    } else {
        // A line is one write: others write to the same output.
        std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);  // NOLINT(cert-err33-c): without it the lines come in pieces
        std::cerr << std::nounitbuf;
        constexpr bool ToStandardError = true;
        constexpr bool Flush = true;
        const log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(ToStandardError, Flush));
        appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%H:%M:%S.%q} %-5p %c - %m%n"));
        log4cplus::Logger root = log4cplus::Logger::getRoot();
        root.addAppender(appender);
        root.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    }
    Zandrel::SetCentralLoggerOnce(log4cplus::Logger::getInstance("OrnAppHost"));
}

/// "stairlight" of "/opt/userdata/orn/libornstairlight.so".
std::string AppNameOf(const std::string& library) {
    const std::string prefix = "liborn";
    std::string name = std::filesystem::path(library).stem();
    if (name.compare(0, prefix.size(), prefix) == 0) {
        name.erase(0, prefix.size());
    }
    return name;
}

int Run(const std::string& library, int logicalDevice, pid_t parent) {
    const LocalDevice::AppFunctions app = LocalDevice::LoadAppLibrary(library);
    const log4cplus::Initializer initializer;
    SetUpLog();
    LocalDevice::InstallCrashMessage();
    return LocalDevice::Program(app, AppNameOf(library), logicalDevice, parent).Run();
}

}  // namespace

int main(int argc, char** argv) {
    // Before anything that takes time: a parent that has ended is noticed by a change.
    const pid_t parent = getppid();
    // A reader of the log that is gone must not end the app.
    std::signal(SIGPIPE, SIG_IGN);  // NOLINT(cert-err33-c): it cannot fail

    const std::string logicalDevice = argc == 3 ? argv[2] : "";
    if (logicalDevice != "1" && logicalDevice != "2") {
        std::cerr << "usage: ornapphost LIBRARY LOGICAL_DEVICE (1 or 2)\n";
        return BadCall;
    }
    try {
        return Run(argv[1], logicalDevice == "1" ? 1 : 2, parent);
    } catch (const LocalDevice::AppLibraryError& error) {
        std::cerr << "ornapphost: " << error.what() << '\n';
        return BadCall;
    } catch (const std::exception& error) {
        std::cerr << "ornapphost: " << error.what() << '\n';
        return LocalDevice::AppHost::Failure;
    }
}
