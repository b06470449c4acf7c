#include "Commands.h"

#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "HostControl.h"
#include "PrintableText.h"

namespace LocalDevice {

namespace {

using nlohmann::json;

/// A download or a restart waits for an app that may not want to stop, and for the device stack.
constexpr std::chrono::seconds CommandLimit{200};

/// JSON lets control characters pass that a terminal obeys. What a device calls itself need not be UTF-8.
void Print(const json& message, int indentation) {
    std::istringstream lines(message.dump(indentation, ' ', false, json::error_handler_t::replace));
    for (std::string line; std::getline(lines, line);) {
        std::cout << MakePrintable(line) << '\n';
    }
    std::cout << std::flush;
}

void PrintAnswer(json answer) {
    answer.erase("ok");
    Print(answer, 2);
}

json MakeCommand(const ControlOptions& options) {
    json command{{"command", options.command}};
    if (options.command == "write") {
        command["address"] = options.arguments[0];
        command["value"] = options.arguments[1];
    } else if (options.command == "read") {
        command["address"] = options.arguments[0];
    } else if (options.command == "download") {
        if (!options.arguments.empty()) {
            command["file"] = boost::filesystem::absolute(options.arguments.front()).string();
        }
        if (!options.objects.empty()) {
            command["objects"] = options.objects;
        }
        if (options.abortAfter) {
            command["abortAfter"] = *options.abortAfter;
        }
    }
    return command;
}

void Restart(HostControl& host, unsigned count) {
    for (unsigned restart = 1; restart <= count; ++restart) {
        const json answer = host.Ask({{"command", "restart"}}, CommandLimit);
        std::cout << restart << ": OnDeviceRestart returned " << answer.at("result") << std::endl;
    }
    PrintAnswer(host.Ask({{"command", "status"}}, CommandLimit));
}

void Monitor(HostControl& host) {
    host.Ask({{"command", "monitor"}}, CommandLimit);
    while (std::cout) {
        Print(host.Receive(), -1);
    }
    throw ControlError("the output is closed");
}

}  // namespace

void RunControlCommand(const ControlOptions& options) {
    HostControl host(options.socket.empty() ? FindControlSocket(options.directory, options.logicalDevice)
                                            : options.socket.string());
    if (options.command == "restart") {
        Restart(host, options.restarts);
    } else if (options.command == "monitor") {
        Monitor(host);
    } else {
        PrintAnswer(host.Ask(MakeCommand(options), CommandLimit));
    }
}

}  // namespace LocalDevice
