#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// What the command line asks for.
struct ControlOptions {
    std::string command;                 ///< one of those in the usage; "help" for none
    std::vector<std::string> arguments;  ///< as many as the command takes
    unsigned restarts = 1;               ///< for restart
    std::vector<unsigned> objects;       ///< for download: these only; empty for all
    std::optional<unsigned> abortAfter;  ///< for download: breaks off after this object
    boost::filesystem::path directory;   ///< of the local device; empty for the only one that runs
    boost::filesystem::path socket;      ///< control socket, in place of the directory; empty for none
    int logicalDevice = 1;               ///< 1 or 2
};

/// What is wrong with the command line, in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments`: without the program's name. Throws `UsageError`.
ControlOptions ParseControlOptions(const std::vector<std::string>& arguments);

/// The text for "--help".
std::string GetControlUsage();

}  // namespace LocalDevice
