#pragma once

#include <boost/filesystem/path.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace LocalDevice {

/// What the command line asks for.
struct PackageOptions {
    enum class Command { Help, Keygen, Sign, Verify, Install, Show };
    enum class KeyType { Rsa, Ecdsa };

    Command command = Command::Help;
    boost::filesystem::path directory;  ///< the app directory; for keygen where the keys go, empty for here
    boost::filesystem::path key = "developer.key";
    boost::filesystem::path certificate = "developer.crt";
    boost::filesystem::path ca = "ca.crt";
    boost::filesystem::path root;  ///< of the device to install on; empty for that of the build, or of this machine
    KeyType keyType = KeyType::Rsa;
};

/// What is wrong with the command line, in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments`: without the program's name. Throws `UsageError`.
PackageOptions ParseCommandLine(const std::vector<std::string>& arguments);

/// The text for "--help".
std::string GetUsage();

}  // namespace LocalDevice
