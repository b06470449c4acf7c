#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "RequestDispatcher.h"

namespace LocalDevice {

/// What the command line of the service says.
struct ServiceOptions {
    bool isHelpWanted = false;
    std::string address = "127.0.0.1";
    std::uint16_t port = 7580;
    SerialNumbers serialNumbers;
    std::string logFile;  ///< empty: no log
};

/// What is wrong with the command line: `what()` is one line that names the option and what it expects.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments`: without the program's name. Throws `OptionError`.
ServiceOptions ParseOptions(const std::vector<std::string>& arguments);

/// The text for "--help".
std::string GetHelp();

}  // namespace LocalDevice
