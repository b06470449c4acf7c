#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bus/BusAddress.h"

namespace LocalDevice {

/// How the program ends.
namespace ExitCode {
constexpr int Success = 0;
constexpr int Failure = 1;
constexpr int Usage = 2;
constexpr int Library = 3;
constexpr int Device = 4;
constexpr int Bus = 5;
constexpr int ControlSocket = 6;
}  // namespace ExitCode

/// A command line that cannot be obeyed; `what()` is one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the command line asks for.
struct HostOptions {
    std::string device;
    std::string library;
    BusAddress bus;
    std::string control;  ///< empty for none
    std::string log;      ///< empty for none
    bool isQuiet = false;
    std::chrono::milliseconds downloadPause{10};
};

/// Reads the arguments without the program's name. None when help is wanted. Throws `UsageError`.
std::optional<HostOptions> ParseHostOptions(const std::vector<std::string>& arguments);

/// The help text, exit codes included.
std::string GetHostHelp();

}  // namespace LocalDevice
