#include "Options.h"

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/variables_map.hpp>
#include <sstream>

#include "Bus/BusAddress.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

namespace po = boost::program_options;

constexpr std::uint32_t MaxPort = 65'535;
constexpr std::uint32_t MaxDelaySeconds = 3600;

po::options_description Description() {
    po::options_description description("Options", 100);
    auto add = description.add_options();
    add("device", po::value<std::vector<std::string>>()->value_name("NAME|FILE"),
        "device description; given twice: logical devices 1 and 2 (default: stairlight)");
    add("bus", po::value<std::string>()->default_value("in-process")->value_name("BUS"),
        "in-process: each device has a bus of its own; knxd:local:PATH or knxd:ip:HOST[:PORT]: the bus behind a "
        "knxd, which joins them");
    add("once", "play the demo of each device, compare the answers and end");
    add("port", po::value<std::string>()->default_value("0")->value_name("N"),
        "port of the device stack; 0 picks a free one");
    add("directory", po::value<std::string>()->default_value("", "")->value_name("DIR"),
        "where sockets and logs go (default: a fresh one that is removed at the end)");
    add("quiet", "show neither telegrams nor the log");
    add("no-device-stack", "do not start the device stack: somebody else does");
    add("device-stack-delay", po::value<std::string>()->default_value("0")->value_name("SECONDS"),
        "start the device stack this much later than the device");
    add("help", "show this text");
    return description;
}

std::uint32_t ReadNumber(const po::variables_map& values, const std::string& name, std::uint32_t max) {
    const auto text = values[name].as<std::string>();
    const auto number = ParseDecimal(text, max);
    if (!number) {
        throw OptionsError("--" + name + " " + text + ": expected a number from 0 to " + std::to_string(max));
    }
    return *number;
}

po::variables_map ReadArguments(const std::vector<std::string>& arguments) {
    constexpr auto Style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
    try {
        const auto description = Description();
        const auto parsed = po::command_line_parser(arguments).options(description).style(Style).run();
        for (const auto& option : parsed.options) {
            if (option.string_key.empty()) {
                throw OptionsError("unexpected argument \"" + option.value.front() + "\"; --help lists the options");
            }
        }
        po::variables_map values;
        po::store(parsed, values);
        return values;
    } catch (const po::error& error) {
        throw OptionsError(std::string(error.what()) + "; --help lists the options");
    }
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments) {
    const po::variables_map values = ReadArguments(arguments);
    if (values.count("help") != 0) {
        return std::nullopt;
    }
    Options options;
    options.devices = {"stairlight"};
    if (values.count("device") != 0) {
        options.devices = values["device"].as<std::vector<std::string>>();
    }
    if (options.devices.size() > Options::MaxDevices) {
        throw OptionsError("--device: expected at most two devices, got " + std::to_string(options.devices.size()));
    }
    if (options.devices.size() == 2 && options.devices[0] == options.devices[1]) {
        throw OptionsError("--device " + options.devices[1] + ": expected two different devices");
    }
    options.bus = values["bus"].as<std::string>();
    if (!ParseBusAddress(options.bus)) {
        throw OptionsError("--bus " + options.bus + ": expected " + BusAddressForms);
    }
    options.port = static_cast<std::uint16_t>(ReadNumber(values, "port", MaxPort));
    options.directory = values["directory"].as<std::string>();
    options.once = values.count("once") != 0;
    options.quiet = values.count("quiet") != 0;
    options.withoutDeviceStack = values.count("no-device-stack") != 0;
    options.deviceStackDelay = std::chrono::seconds(ReadNumber(values, "device-stack-delay", MaxDelaySeconds));
    if (options.withoutDeviceStack && options.deviceStackDelay.count() != 0) {
        throw OptionsError("--no-device-stack and --device-stack-delay exclude each other");
    }
    return options;
}

std::string GetOptionsHelp() {
    std::ostringstream text;
    text << "Usage: localdevice [OPTION ...]\n"
            "Starts a local device: device stack, KNX stack host and app.\n\n"
         << Description() << '\n';
    return text.str();
}

}  // namespace LocalDevice
