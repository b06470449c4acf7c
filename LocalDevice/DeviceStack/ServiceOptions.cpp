#include "ServiceOptions.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>
#include <charconv>
#include <limits>
#include <sstream>

namespace LocalDevice {

namespace {

namespace program_options = boost::program_options;

program_options::options_description DescribeOptions() {
    const ServiceOptions defaults;
    program_options::options_description options("devicestack: the object model of the local device, as a service");
    options.add_options()("help", "show this text");
    options.add_options()("port", program_options::value<std::string>()->default_value(std::to_string(defaults.port)),
                          "port to listen on; 0 picks a free one");
    options.add_options()("address", program_options::value<std::string>()->default_value(defaults.address),
                          "IP address to listen on");
    options.add_options()("serial1", program_options::value<std::string>()->default_value(""),
                          "serial number of logical KNX device 1: 12 hexadecimal digits");
    options.add_options()("serial2", program_options::value<std::string>()->default_value(""),
                          "serial number of logical KNX device 2: 12 hexadecimal digits");
    options.add_options()("log", program_options::value<std::string>()->default_value(""),
                          "file to log to; without it nothing is logged");
    return options;
}

std::uint16_t ReadPort(const std::string& text) {
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || parsed != end) {
        throw OptionError("--port " + text + ": expected a number from 0 to 65535");
    }
    return port;
}

std::string ReadAddress(const std::string& text) {
    boost::system::error_code error;
    boost::asio::ip::make_address(text, error);
    if (error) {
        throw OptionError("--address " + text + ": expected an IP address");
    }
    return text;
}

std::string ReadSerialNumber(const std::string& option, const std::string& text) {
    constexpr std::size_t Digits = 12;
    const bool isHexadecimal = text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (!text.empty() && (text.size() != Digits || !isHexadecimal)) {
        throw OptionError("--" + option + " " + text + ": expected 12 hexadecimal digits");
    }
    return text;
}

}  // namespace

ServiceOptions ParseOptions(const std::vector<std::string>& arguments) {
    program_options::variables_map values;
    try {
        // Without abbreviations: a later option must not change what a script means.
        using Style = program_options::command_line_style::style_t;
        const int style = Style::unix_style & ~Style::allow_guessing;
        program_options::store(program_options::command_line_parser(arguments)
                                   .options(DescribeOptions())
                                   .positional(program_options::positional_options_description())
                                   .style(style)
                                   .run(),
                               values);
        program_options::notify(values);
    } catch (const program_options::error& error) {
        throw OptionError(std::string(error.what()) + "; see --help");
    }
    ServiceOptions options;
    options.isHelpWanted = values.count("help") != 0;
    options.port = ReadPort(values["port"].as<std::string>());
    options.address = ReadAddress(values["address"].as<std::string>());
    options.serialNumbers.first = ReadSerialNumber("serial1", values["serial1"].as<std::string>());
    options.serialNumbers.second = ReadSerialNumber("serial2", values["serial2"].as<std::string>());
    if (!options.serialNumbers.first.empty() &&
        boost::iequals(options.serialNumbers.first, options.serialNumbers.second)) {
        throw OptionError("--serial2 " + options.serialNumbers.second +
                          ": expected another serial number than that of --serial1");
    }
    options.logFile = values["log"].as<std::string>();
    return options;
}

std::string GetHelp() {
    std::ostringstream text;
    text << DescribeOptions();
    return text.str();
}

}  // namespace LocalDevice
