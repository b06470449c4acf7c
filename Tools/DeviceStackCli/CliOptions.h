#pragma once

#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// What the command line asks for.
struct CliOptions {
    enum class Command { Help, List, Get, Set, Watch };

    Command command = Command::Help;
    std::string host;
    std::string port;
    std::set<unsigned long> ids;            ///< one for get and set, none or one for list, any number for watch
    std::string value;                      ///< for set
    std::optional<std::string> serialised;  ///< for set: the value with its type, where a type is given
    bool isRaw = false;                     ///< values are shown serialised
    bool isJson = false;                    ///< the list is shown as JSON
};

/// What is wrong with the command line, in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments`: without the program's name. `findAddress`: "HOST:PORT" or "HOST" of the service to use where no option
/// names one. Throws `UsageError`.
CliOptions ParseCommandLine(const std::vector<std::string>& arguments, const std::function<std::string()>& findAddress);

/// The text for "--help".
std::string GetUsage();

}  // namespace LocalDevice
