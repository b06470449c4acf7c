#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// What the command line asks for.
struct Options {
    static constexpr std::size_t MaxDevices = 2;

    std::vector<std::string> devices;  ///< names or files, one or two; by logical device
    std::string bus;                   ///< as the KNX stack host takes it
    std::uint16_t port = 0;            ///< of the device stack; 0 picks one
    std::string directory;             ///< for sockets and logs; empty: a fresh one
    bool once = false;                 ///< plays the demo and ends
    bool quiet = false;                ///< shows neither telegrams nor the log
    bool withoutDeviceStack = false;   ///< somebody else starts it
    std::chrono::seconds deviceStackDelay{0};
};

/// A command line that cannot be obeyed; `what()` is one line.
class OptionsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the command line, without the program's name. None when it asks for help. Throws `OptionsError`.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments);

/// The help text.
std::string GetOptionsHelp();

}  // namespace LocalDevice
