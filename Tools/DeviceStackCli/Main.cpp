#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "CliOptions.h"
#include "Commands.h"

namespace LocalDevice {

namespace {

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

int Run(const std::vector<std::string>& arguments) {
    try {
        const char* address = std::getenv("ORN_DEVICE_STACK");
        const CliOptions options = ParseCommandLine(arguments, address != nullptr ? address : "");
        if (options.command == CliOptions::Command::Help) {
            std::cout << GetUsage();
        } else {
            RunCommand(options);
        }
        return 0;
    } catch (const UsageError& error) {
        std::cerr << "devicestack-cli: " << error.what() << "; see --help\n";
        return ExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "devicestack-cli: " << error.what() << '\n';
        return ExitFailure;
    }
}

}  // namespace

}  // namespace LocalDevice

int main(int argc, char** argv) {
    return LocalDevice::Run({argv + 1, argv + argc});
}
