#include "LocalDeviceProgram.h"

#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <exception>
#include <iostream>

#include "Console.h"
#include "Installation.h"
#include "Launcher.h"
#include "Options.h"
#include "PrintableText.h"

namespace LocalDevice {

namespace {

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

constexpr const char* OutputProblem = "the standard output cannot be written";

int Complain(int exitCode, const std::string& problem) {
    std::cerr << "localdevice: " << MakePrintable(problem) << std::endl;
    return exitCode;
}

}  // namespace

int RunLocalDevice(const boost::filesystem::path& programDirectory, const std::vector<std::string>& arguments,
                   const LauncherGraces& graces) {
    try {
        const log4cplus::Initializer logging;
        // What the device-stack client would log, the launcher says itself.
        log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
        auto options = ParseOptions(arguments);
        if (!options) {
            std::cout << GetOptionsHelp() << std::flush;
            return std::cout ? 0 : Complain(ExitFailure, OutputProblem);
        }
        const Installation installation(programDirectory);
        for (std::string& device : options->devices) {
            device = installation.FindDescription(device);
        }
        Console console(std::cout);
        Launcher launcher(*options, installation, console, graces);
        const std::string failure = launcher.Run();
        if (!failure.empty()) {
            return Complain(ExitFailure, failure);
        }
        return console.IsComplete() ? 0 : Complain(ExitFailure, OutputProblem);
    } catch (const OptionsError& error) {
        return Complain(ExitUsage, error.what());
    } catch (const std::exception& error) {
        return Complain(ExitFailure, error.what());
    }
}

}  // namespace LocalDevice
