#include "ControlOptions.h"

#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/program_options/errors.hpp>
#include <map>
#include <sstream>

#include "CommandWords.h"

namespace LocalDevice {

namespace {

namespace po = boost::program_options;

constexpr const char* Usage =
    "usage: ornctl [OPTION...] COMMAND\n"
    "  status                load states, run state, counters\n"
    "  restart [COUNT]       restarts the application, COUNT times in a row\n"
    "  download [FILE]       downloads a description; without FILE the last one again\n"
    "  unload                unloads every object\n"
    "  exit, start           ends the application program, starts it again\n"
    "  write ADDRESS VALUE   sends a group value as another device on the bus\n"
    "  read ADDRESS          asks for a group value and waits for the answer\n"
    "  monitor               shows what happens, as JSON, until Ctrl-C\n"
    "Exit codes: 0 done, 1 refused or no answer, 2 wrong command line.\n";

struct Arity {
    std::size_t least;
    std::size_t most;
};

po::options_description VisibleOptions() {
    po::options_description visible("options");
    visible.add_options()("help", "shows this")("directory", po::value<std::string>(),
                                                "folder of the local device; else the only one that runs")(
        "control", po::value<std::string>(), "control socket, in place of --directory")(
        "device", po::value<int>()->default_value(1), "logical device, 1 or 2")(
        "objects", po::value<std::string>(), "download: only these interface objects, such as 1,2,3")(
        "abort-after", po::value<unsigned>(), "download: breaks off after this object");
    return visible;
}

CommandWords Parse(const Words& arguments) {
    try {
        return ParseCommandWords(arguments, VisibleOptions());
    } catch (const po::error& error) {
        throw UsageError(error.what());
    }
}

unsigned ReadNumber(const std::string& text, const std::string& what) {
    unsigned number = 0;
    // A sign would be taken, and a negative number wrap around.
    if (text.find_first_not_of("0123456789") != std::string::npos ||
        !boost::conversion::try_lexical_convert(text, number) || number == 0) {
        throw UsageError(what + ": expected a number from 1 on, got \"" + text + "\"");
    }
    return number;
}

std::vector<unsigned> ReadObjects(const std::string& text) {
    std::vector<unsigned> objects;
    std::istringstream stream(text);
    for (std::string number; std::getline(stream, number, ',');) {
        objects.push_back(ReadNumber(number, "--objects"));
    }
    if (objects.empty()) {
        throw UsageError("--objects: expected numbers such as 1,2,3");
    }
    return objects;
}

void CheckCommand(const ControlOptions& options) {
    static const std::map<std::string, Arity> commands{{"status", {0, 0}}, {"restart", {0, 1}}, {"download", {0, 1}},
                                                       {"unload", {0, 0}}, {"exit", {0, 0}},    {"start", {0, 0}},
                                                       {"write", {2, 2}},  {"read", {1, 1}},    {"monitor", {0, 0}}};
    const auto command = commands.find(options.command);
    if (command == commands.end()) {
        throw UsageError("unknown command \"" + options.command + "\"");
    }
    const Arity& arity = command->second;
    const std::size_t count = options.arguments.size();
    if (count < arity.least || count > arity.most) {
        throw UsageError("\"" + options.command + "\" expects " + std::to_string(arity.least) +
                         (arity.least == arity.most ? "" : " to " + std::to_string(arity.most)) + " arguments, got " +
                         std::to_string(count));
    }
}

}  // namespace

ControlOptions ParseControlOptions(const std::vector<std::string>& arguments) {
    const auto [words, values] = Parse(arguments);
    ControlOptions options;
    if (values.count("help") != 0) {
        options.command = "help";
        return options;
    }
    const auto text = [&values = values](const char* name) {
        return values.count(name) != 0 ? values[name].as<std::string>() : std::string();
    };
    options.arguments = words;
    if (options.arguments.empty()) {
        throw UsageError("expected a command");
    }
    options.command = options.arguments.front();
    options.arguments.erase(options.arguments.begin());
    CheckCommand(options);
    options.directory = text("directory");
    options.socket = text("control");
    options.logicalDevice = values["device"].as<int>();
    if (options.logicalDevice != 1 && options.logicalDevice != 2) {
        throw UsageError("--device: expected 1 or 2, got " + std::to_string(options.logicalDevice));
    }
    const bool hasDownloadOption = values.count("objects") != 0 || values.count("abort-after") != 0;
    if (hasDownloadOption && options.command != "download") {
        throw UsageError("--objects and --abort-after belong to download");
    }
    if (values.count("objects") != 0) {
        options.objects = ReadObjects(text("objects"));
    }
    if (values.count("abort-after") != 0) {
        options.abortAfter = values["abort-after"].as<unsigned>();
    }
    if (options.command == "restart" && !options.arguments.empty()) {
        options.restarts = ReadNumber(options.arguments.front(), "restart");
    }
    return options;
}

std::string GetControlUsage() {
    std::ostringstream usage;
    usage << Usage << VisibleOptions();
    return usage.str();
}

}  // namespace LocalDevice
