#include "PackageOptions.h"

#include <boost/program_options/errors.hpp>
#include <map>
#include <sstream>

#include "CommandWords.h"

namespace LocalDevice {

namespace {

namespace program_options = boost::program_options;
using Command = PackageOptions::Command;

program_options::options_description DescribeOptions() {
    program_options::options_description options("Options");
    options.add_options()("type", program_options::value<std::string>(), "keygen: rsa (default) or ecdsa");
    options.add_options()("key", program_options::value<std::string>(),
                          "sign: the developer's key (default: developer.key)");
    options.add_options()("certificate", program_options::value<std::string>(),
                          "sign: the developer's certificate (default: developer.crt)");
    options.add_options()("ca", program_options::value<std::string>(),
                          "sign, verify, install: the certificate of the CA that the device knows (default: ca.crt)");
    options.add_options()(
        "root", program_options::value<std::string>(),
        "install: the root folder of the device (default: of the build that the program is of, or /)");
    options.add_options()("help", "show this text");
    return options;
}

CommandWords Parse(const Words& arguments) {
    try {
        return ParseCommandWords(arguments, DescribeOptions());
    } catch (const program_options::error& error) {
        throw UsageError(error.what());
    }
}

Command ReadCommand(const std::string& word) {
    static const std::map<std::string, Command> commands{{"keygen", Command::Keygen},
                                                         {"sign", Command::Sign},
                                                         {"verify", Command::Verify},
                                                         {"install", Command::Install},
                                                         {"show", Command::Show}};
    const auto found = commands.find(word);
    if (found == commands.end()) {
        throw UsageError("unknown command \"" + word + "\": expected keygen, sign, verify, install or show");
    }
    return found->second;
}

void ReadPath(const program_options::variables_map& values, const char* option, bool isAllowed,
              boost::filesystem::path& path) {
    if (values.count(option) == 0) {
        return;
    }
    if (!isAllowed) {
        throw UsageError(std::string("--") + option + " does not go with this command");
    }
    path = values[option].as<std::string>();
    if (path.empty()) {
        throw UsageError(std::string("--") + option + ": expected a path");
    }
}

void ReadKeyType(const program_options::variables_map& values, PackageOptions& options) {
    if (values.count("type") == 0) {
        return;
    }
    if (options.command != Command::Keygen) {
        throw UsageError("--type does not go with this command");
    }
    const std::string type = values["type"].as<std::string>();
    if (type != "rsa" && type != "ecdsa") {
        throw UsageError("--type " + type + ": expected rsa or ecdsa");
    }
    options.keyType = type == "rsa" ? PackageOptions::KeyType::Rsa : PackageOptions::KeyType::Ecdsa;
}

}  // namespace

PackageOptions ParseCommandLine(const std::vector<std::string>& arguments) {
    const auto [words, values] = Parse(arguments);
    PackageOptions options;
    if (values.count("help") != 0) {
        return options;
    }
    if (words.empty()) {
        throw UsageError("expected a command: keygen, sign, verify, install or show");
    }
    options.command = ReadCommand(words.front());
    const bool isSign = options.command == Command::Sign;
    ReadKeyType(values, options);
    ReadPath(values, "key", isSign, options.key);
    ReadPath(values, "certificate", isSign, options.certificate);
    const bool isInstall = options.command == Command::Install;
    ReadPath(values, "ca", isSign || isInstall || options.command == Command::Verify, options.ca);
    ReadPath(values, "root", isInstall, options.root);
    if (options.command == Command::Keygen && words.size() == 1) {
        return options;
    }
    if (words.size() != 2 || words[1].empty()) {
        throw UsageError(options.command == Command::Keygen ? "expected keygen [DIR]"
                                                            : "expected " + words[0] + " DIR");
    }
    options.directory = words[1];
    return options;
}

std::string GetUsage() {
    std::ostringstream text;
    text
        << "ornpackage: makes an app directory a signed package, and checks one as the device does\n\n"
           "  ornpackage keygen [DIR]   a test CA (ca.key, ca.crt) and a developer (developer.key, developer.crt);\n"
           "                            no file is overwritten\n"
           "  ornpackage sign DIR       lists and signs all files of DIR: writes appfiles.xml,\n"
           "                            appfiles.xml.SHA256.sig and sdk.crt there\n"
           "  ornpackage verify DIR     checks the package, with the messages of the device\n"
           "  ornpackage install DIR    checks the package and puts it onto the local device, in the place of the app\n"
           "                            and of the CA's certificate that are there\n"
           "  ornpackage show DIR       what the package says of itself, unchecked\n\n"
        << DescribeOptions()
        << "\nExit codes\n"
           "  0  done; for verify and install: signature OK\n"
           "  1  the package is corrupt; for sign: the device would not accept it\n"
           "  2  the command line is wrong\n"
           "  3  an unexpected problem, such as a file that cannot be read or that exists already\n";
    return text.str();
}

}  // namespace LocalDevice
