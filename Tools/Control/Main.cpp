// ornctl: controls a running local device over the control socket of its KNX stack host.

#include <boost/filesystem/operations.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/program_options.hpp>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "HostControl.h"

namespace LocalDevice {
namespace {

using nlohmann::json;
namespace options = boost::program_options;

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

/// A download or a restart waits for an app that may not want to stop, and for the device stack.
constexpr std::chrono::seconds CommandLimit{200};

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

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CommandLine {
    std::string socket;
    std::string command;
    std::vector<std::string> arguments;
    json more = json::object();  ///< members that options add to a download
};

json DownloadMembers(const options::variables_map& values) {
    json members = json::object();
    if (values.count("objects") != 0) {
        members["objects"] = json::parse("[" + values["objects"].as<std::string>() + "]", nullptr, false);
        if (members["objects"].is_discarded()) {
            throw UsageError("--objects: expected numbers such as 1,2,3");
        }
    }
    if (values.count("abort-after") != 0) {
        members["abortAfter"] = values["abort-after"].as<unsigned>();
    }
    return members;
}

options::options_description VisibleOptions() {
    options::options_description visible("options");
    visible.add_options()("help", "shows this")("directory", options::value<std::string>(),
                                                "folder of the local device; else the only one that runs")(
        "control", options::value<std::string>(), "control socket, in place of --directory")(
        "device", options::value<int>()->default_value(1), "logical device, 1 or 2")(
        "objects", options::value<std::string>(), "download: only these interface objects, such as 1,2,3")(
        "abort-after", options::value<unsigned>(), "download: breaks off after this object");
    return visible;
}

CommandLine Parse(const std::vector<std::string>& arguments) {
    options::options_description all = VisibleOptions();
    all.add_options()("words", options::value<std::vector<std::string>>()->default_value({}, ""));
    options::positional_options_description positions;
    positions.add("words", -1);
    options::variables_map values;
    try {
        options::store(options::command_line_parser(arguments).options(all).positional(positions).run(), values);
        options::notify(values);
    } catch (const options::error& error) {
        throw UsageError(error.what());
    }
    CommandLine line;
    line.arguments = values["words"].as<std::vector<std::string>>();
    if (values.count("help") != 0) {
        line.command = "help";
        return line;
    }
    if (line.arguments.empty()) {
        throw UsageError("expected a command");
    }
    line.command = line.arguments.front();
    line.arguments.erase(line.arguments.begin());
    line.more = DownloadMembers(values);
    line.socket =
        values.count("control") != 0
            ? values["control"].as<std::string>()
            : FindControlSocket(values.count("directory") != 0 ? values["directory"].as<std::string>() : std::string(),
                                values["device"].as<int>());
    return line;
}

void ExpectArguments(const CommandLine& line, std::size_t least, std::size_t most) {
    if (line.arguments.size() < least || line.arguments.size() > most) {
        throw UsageError("\"" + line.command + "\" expects " + std::to_string(least) +
                         (least == most ? "" : " to " + std::to_string(most)) + " arguments, got " +
                         std::to_string(line.arguments.size()));
    }
}

void PrintAnswer(json answer) {
    answer.erase("ok");
    std::cout << answer.dump(2) << std::endl;
}

void Send(const CommandLine& line, json command) {
    command["command"] = line.command;
    PrintAnswer(HostControl(line.socket).Ask(command, CommandLimit));
}

void Restart(const CommandLine& line) {
    ExpectArguments(line, 0, 1);
    unsigned count = 1;
    if (!line.arguments.empty() &&
        (!boost::conversion::try_lexical_convert(line.arguments.front(), count) || count == 0)) {
        throw UsageError("restart: expected a count from 1 on, got \"" + line.arguments.front() + "\"");
    }
    HostControl host(line.socket);
    for (unsigned restart = 1; restart <= count; ++restart) {
        const json answer = host.Ask({{"command", "restart"}}, CommandLimit);
        std::cout << restart << ": OnDeviceRestart returned " << answer.at("result") << std::endl;
    }
    PrintAnswer(host.Ask({{"command", "status"}}, CommandLimit));
}

void Download(const CommandLine& line) {
    ExpectArguments(line, 0, 1);
    json command = line.more;
    if (!line.arguments.empty()) {
        command["file"] = boost::filesystem::absolute(line.arguments.front()).string();
    }
    Send(line, command);
}

void Monitor(const CommandLine& line) {
    ExpectArguments(line, 0, 0);
    HostControl host(line.socket);
    host.Ask({{"command", "monitor"}}, CommandLimit);
    for (;;) {
        std::cout << host.Receive().dump() << std::endl;
    }
}

void RunCommand(const CommandLine& line) {
    const auto plain = [&line] {
        ExpectArguments(line, 0, 0);
        Send(line, json::object());
    };
    const std::map<std::string, std::function<void()>> commands{
        {"status", plain},
        {"unload", plain},
        {"exit", plain},
        {"start", plain},
        {"restart", [&line] { Restart(line); }},
        {"download", [&line] { Download(line); }},
        {"monitor", [&line] { Monitor(line); }},
        {"write",
         [&line] {
             ExpectArguments(line, 2, 2);
             Send(line, {{"address", line.arguments[0]}, {"value", line.arguments[1]}});
         }},
        {"read",
         [&line] {
             ExpectArguments(line, 1, 1);
             Send(line, {{"address", line.arguments[0]}});
         }},
    };
    const auto command = commands.find(line.command);
    if (command == commands.end()) {
        throw UsageError("unknown command \"" + line.command + "\"");
    }
    command->second();
}

int Run(const std::vector<std::string>& arguments) {
    try {
        const CommandLine line = Parse(arguments);
        if (line.command == "help") {
            std::cout << Usage << VisibleOptions();
        } else {
            RunCommand(line);
        }
        return 0;
    } catch (const UsageError& error) {
        std::cerr << "ornctl: " << error.what() << "; see --help\n";
        return ExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "ornctl: " << error.what() << '\n';
        return ExitFailure;
    }
}

}  // namespace
}  // namespace LocalDevice

int main(int argc, char** argv) {
    return LocalDevice::Run({argv + 1, argv + argc});
}
