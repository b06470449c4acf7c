#include "CliOptions.h"

#include <boost/program_options/errors.hpp>
#include <charconv>
#include <limits>
#include <map>
#include <sstream>

#include "CommandWords.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

namespace {

namespace program_options = boost::program_options;
using Command = CliOptions::Command;

constexpr const char* DefaultPort = "7580";

program_options::options_description DescribeOptions() {
    program_options::options_description options("Options");
    options.add_options()("address", program_options::value<std::string>(),
                          "HOST:PORT of the device stack (default: ORN_DEVICE_STACK, else that of the local device "
                          "that runs, else 127.0.0.1:7580)");
    options.add_options()("type", program_options::value<std::string>(),
                          "set: type of the value (boolean, integer, float or text)");
    options.add_options()("raw", "set, get: the value is serialised, such as 3.1:42");
    options.add_options()("json", "list: show what the device stack answers");
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

void ReadAddress(const std::string& text, CliOptions& options) {
    const std::size_t colon = text.rfind(':');
    const bool hasPort = colon != std::string::npos && text.find(']', colon) == std::string::npos;
    options.host = text.substr(0, hasPort ? colon : text.size());
    options.port = hasPort ? text.substr(colon + 1) : DefaultPort;
    if (options.host.size() > 1 && options.host.front() == '[' && options.host.back() == ']') {
        options.host = options.host.substr(1, options.host.size() - 2);
    }
    unsigned long port = 0;
    const char* end = options.port.data() + options.port.size();
    const auto [parsed, error] = std::from_chars(options.port.data(), end, port);
    constexpr unsigned long Maximum = std::numeric_limits<std::uint16_t>::max();
    if (options.host.empty() || error != std::errc() || parsed != end || port == 0 || port > Maximum) {
        throw UsageError("address \"" + text + "\": expected HOST:PORT");
    }
}

unsigned long ReadId(const std::string& text) {
    unsigned long id = 0;
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, id);
    constexpr unsigned long Maximum = std::numeric_limits<std::uint32_t>::max();
    if (error != std::errc() || parsed != end || id == 0 || id > Maximum) {
        throw UsageError("id \"" + text + "\": expected a number from 1 to " + std::to_string(Maximum));
    }
    return id;
}

Command ReadCommand(const std::string& word) {
    static const std::map<std::string, Command> commands{
        {"list", Command::List}, {"get", Command::Get}, {"set", Command::Set}, {"watch", Command::Watch}};
    const auto found = commands.find(word);
    if (found == commands.end()) {
        throw UsageError("unknown command \"" + word + "\": expected list, get, set or watch");
    }
    return found->second;
}

void CheckWordCount(const std::string& usage, std::size_t count, std::size_t minimum, std::size_t maximum) {
    if (count < minimum || count > maximum) {
        throw UsageError("expected " + usage);
    }
}

std::string ReadSerialised(const program_options::variables_map& values, const std::string& value) {
    static const std::map<std::string, std::string> types{
        {"boolean", "2.1:"}, {"integer", "3.1:"}, {"float", "4.1:"}, {"text", "5.1:"}};
    std::string serialised = value;
    if (values.count("type") != 0) {
        const auto type = types.find(values["type"].as<std::string>());
        if (type == types.end()) {
            throw UsageError("--type " + values["type"].as<std::string>() +
                             ": expected boolean, integer, float or text");
        }
        serialised = type->second + value;
    }
    try {
        Zandrel::ZANVALUE::Deserialize(serialised);
    } catch (const std::invalid_argument& error) {
        throw UsageError("value \"" + value + "\": " + error.what());
    }
    return serialised;
}

void CheckOption(const program_options::variables_map& values, const char* option, bool isAllowed) {
    if (values.count(option) != 0 && !isAllowed) {
        throw UsageError(std::string("--") + option + " does not go with this command");
    }
}

}  // namespace

CliOptions ParseCommandLine(const std::vector<std::string>& arguments,
                            const std::function<std::string()>& findAddress) {
    auto [words, values] = Parse(arguments);
    CliOptions options;
    if (values.count("help") != 0) {
        return options;
    }
    ReadAddress(values.count("address") != 0 ? values["address"].as<std::string>() : findAddress(), options);

    if (words.empty()) {
        throw UsageError("expected a command: list, get, set or watch");
    }
    options.command = ReadCommand(words.front());
    words.erase(words.begin());

    const bool isSet = options.command == Command::Set;
    CheckOption(values, "type", isSet);
    CheckOption(values, "raw", isSet || options.command == Command::Get);
    CheckOption(values, "json", options.command == Command::List);
    options.isRaw = values.count("raw") != 0;
    options.isJson = values.count("json") != 0;

    if (isSet) {
        CheckWordCount("set ID VALUE", words.size(), 2, 2);
        options.value = words.back();
        words.pop_back();
        if (options.isRaw && values.count("type") != 0) {
            throw UsageError("expected --type or --raw, not both");
        }
        if (options.isRaw || values.count("type") != 0) {
            options.serialised = ReadSerialised(values, options.value);
        }
    } else if (options.command == Command::Get) {
        CheckWordCount("get ID", words.size(), 1, 1);
    } else if (options.command == Command::List) {
        CheckWordCount("list [ID]", words.size(), 0, 1);
    }
    for (const std::string& word : words) {
        options.ids.insert(ReadId(word));
    }
    return options;
}

std::string GetUsage() {
    std::ostringstream text;
    text << "devicestack-cli: shows and changes what the device stack holds\n\n"
            "  devicestack-cli list [ID]      all devices with their channels and data points, or one object\n"
            "  devicestack-cli get ID         the value of a data point\n"
            "  devicestack-cli set ID VALUE   writes a data point; VALUE is plain text of its declared type\n"
            "  devicestack-cli watch [ID...]  every change, or those of some objects, until Ctrl-C\n\n"
         << DescribeOptions() << "\nA VALUE that begins with two dashes follows a word of two dashes.\n";
    return text.str();
}

}  // namespace LocalDevice
