#include "HostOptions.h"

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/program_options.hpp>
#include <sstream>

namespace LocalDevice {

namespace {

namespace po = boost::program_options;

constexpr int LongestDownloadPauseMs = 60'000;

/// The plug-in of the build that this program belongs to.
std::string GetDefaultLibrary() {
    boost::system::error_code error;
    const auto folder = boost::dll::program_location(error).parent_path();
    return (folder / ".." / "lib" / "libOrnKnxAppPrg.so").lexically_normal().string();
}

po::options_description DescribeOptions() {
    po::options_description options("Options");
    options.add_options()                                                                                       //
        ("device", po::value<std::string>(), "device description to power up with (required)")                  //
        ("library", po::value<std::string>(), "plug-in library; default ../lib/libOrnKnxAppPrg.so")             //
        ("bus", po::value<std::string>()->default_value("in-process"), BusAddressForms)                         //
        ("control", po::value<std::string>(), "path of the control socket")                                     //
        ("log", po::value<std::string>(), "file for the log of all levels")                                     //
        ("quiet", po::bool_switch(), "print nothing but errors")                                                //
        ("download-pause", po::value<int>()->default_value(10), "milliseconds before each step of a download")  //
        ("help", po::bool_switch(), "print this text");
    return options;
}

std::string GetText(const po::variables_map& values, const char* name) {
    return values.count(name) != 0 ? values[name].as<std::string>() : std::string();
}

HostOptions Convert(const po::variables_map& values) {
    HostOptions options;
    options.device = GetText(values, "device");
    if (options.device.empty()) {
        throw UsageError("--device is missing; expected the file of a device description");
    }
    options.library = GetText(values, "library");
    if (options.library.empty()) {
        options.library = GetDefaultLibrary();
    }
    const auto bus = ParseBusAddress(GetText(values, "bus"));
    if (!bus) {
        throw UsageError("--bus " + GetText(values, "bus") + ": expected " + BusAddressForms);
    }
    options.bus = *bus;
    const int pause = values["download-pause"].as<int>();
    if (pause < 0 || pause > LongestDownloadPauseMs) {
        throw UsageError("--download-pause " + std::to_string(pause) + ": expected 0 to " +
                         std::to_string(LongestDownloadPauseMs));
    }
    options.downloadPause = std::chrono::milliseconds(pause);
    options.control = GetText(values, "control");
    options.log = GetText(values, "log");
    options.isQuiet = values["quiet"].as<bool>();
    return options;
}

}  // namespace

std::optional<HostOptions> ParseHostOptions(const std::vector<std::string>& arguments) {
    po::variables_map values;
    try {
        const auto options = DescribeOptions();
        const auto parsed = po::command_line_parser(arguments)
                                .options(options)
                                .positional({})
                                .style(po::command_line_style::default_style & ~po::command_line_style::allow_guessing)
                                .run();
        po::store(parsed, values);
    } catch (const po::error& error) {
        throw UsageError(error.what());
    }
    if (values["help"].as<bool>()) {
        return std::nullopt;
    }
    return Convert(values);
}

std::string GetHostHelp() {
    std::ostringstream help;
    help << "knxstackhost: the stand-in of a device's KNX stack; loads and drives a plug-in library\n\n"
         << DescribeOptions()
         << "\nThe address of the device stack is for the plug-in: it reads ORN_DEVICE_STACK.\n"
            "SIGTERM and SIGINT end the application program and then the host; a second one ends it hard.\n"
            "\nExit codes:\n"
            "  0  ended by a signal\n"
            "  1  ended hard, or an unexpected failure\n"
            "  2  wrong command line\n"
            "  3  the library is missing or is no plug-in of this version\n"
            "  4  the device description cannot be used\n"
            "  5  the bus is not there\n"
            "  6  the control socket cannot be made\n";
    return help.str();
}

}  // namespace LocalDevice
