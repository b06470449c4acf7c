#include <boost/algorithm/string/join.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CliOptions.h"
#include "Commands.h"
#include "RunDirectory.h"

namespace LocalDevice {

namespace {

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;
constexpr const char* DefaultHost = "127.0.0.1";

/// That of the environment, else that of the local device that runs on this machine, else the default.
std::string FindAddress() {
    const char* const address = std::getenv("ORN_DEVICE_STACK");
    if (address != nullptr) {
        return address;
    }
    std::vector<std::string> running;
    for (const auto& directory : RunDirectory::FindRunning()) {
        running.push_back(RunDirectory::LoadDeviceStackAddress(directory));
    }
    if (running.size() > 1) {
        throw UsageError("several local devices run; name one with --address: " +
                         boost::algorithm::join(running, ", "));
    }
    return running.empty() ? DefaultHost : running.front();
}

int Run(const std::vector<std::string>& arguments) {
    try {
        const CliOptions options = ParseCommandLine(arguments, &FindAddress);
        if (options.command == CliOptions::Command::Help) {
            std::cout << GetUsage();
        } else {
            RunCommand(options);
        }
        if (!std::cout.flush()) {
            throw std::runtime_error("the standard output cannot be written");
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
