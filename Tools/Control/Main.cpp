// ornctl: controls a running local device over the control socket of its KNX stack host.

#include <exception>
#include <iostream>
#include <stdexcept>

#include "Commands.h"
#include "ControlOptions.h"
#include "PrintableText.h"

namespace LocalDevice {

namespace {

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

int Run(const std::vector<std::string>& arguments) {
    try {
        const ControlOptions options = ParseControlOptions(arguments);
        if (options.command == "help") {
            std::cout << GetControlUsage();
        } else {
            RunControlCommand(options);
        }
        if (!std::cout.flush()) {
            throw std::runtime_error("the standard output cannot be written");
        }
        return 0;
    } catch (const UsageError& error) {
        std::cerr << "ornctl: " << MakePrintable(error.what()) << "; see --help\n";
        return ExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "ornctl: " << MakePrintable(error.what()) << '\n';
        return ExitFailure;
    }
}

}  // namespace

}  // namespace LocalDevice

int main(int argc, char** argv) {
    return LocalDevice::Run({argv + 1, argv + argc});
}
