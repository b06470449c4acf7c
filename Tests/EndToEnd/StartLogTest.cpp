#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "LocalDevice.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::StairLightSerialNumber;
using Lines = std::vector<std::string>;

Lines ReadLines(const std::string& path) {
    std::ifstream file(path);
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The line without what differs from run to run, from build to build and with each change of a source.
std::string Comparable(std::string line) {
    static const std::regex duration(" took [0-9].*");
    static const std::regex pid("pid: [0-9]+");
    static const std::regex root("[^ ]*/opt/");
    static const std::regex source("\\((OrnKnxAppStatic/[A-Za-z]+|OrnProcess/[A-Za-z]+):[0-9]+\\)");
    line = std::regex_replace(line, duration, " took TIME");
    line = std::regex_replace(line, pid, "pid: N");
    line = std::regex_replace(line, root, "/opt/");
    return std::regex_replace(line, source, "($1:LINE)");
}

/// Whether the line comes from a thread that runs beside the one that starts and ends the app: which reports values,
/// whose timer ends, or whose thread has just begun.
bool IsConcurrent(const std::string& line) {
    static const Lines functions{"OnValueChanged - ", "WriteValue - ", "StartDeviceResetTimer - ", "OnExpiry - ",
                                 "StartInitThread - "};
    return std::any_of(functions.begin(), functions.end(),
                       [&line](const std::string& function) { return line.find(function) != std::string::npos; });
}

/// What the app's own end and the kill that follows it leave: whichever comes first.
void LetTheAppEndByItself(Lines& lines) {
    static const std::string ended = "INFO  Stop - App host process exited with 0";
    static const std::string reaped =
        "INFO  Wait (OrnProcess/OrnProcessHandle:LINE) - Child process was killed by signal 9";
    static const std::string killed =
        "FATAL Stop (OrnKnxAppStatic/AppHostProcessControl:LINE) - App host process exited with -1";
    lines.erase(std::remove(lines.begin(), lines.end(), reaped), lines.end());
    std::replace(lines.begin(), lines.end(), killed, ended);
}

/// The log in a fixed order: the lines of start and end as they came, then those beside them, sorted.
Lines Normalise(const Lines& log) {
    Lines lines;
    std::transform(log.begin(), log.end(), std::back_inserter(lines), Comparable);
    LetTheAppEndByItself(lines);
    std::sort(std::stable_partition(lines.begin(), lines.end(), [](const auto& line) { return !IsConcurrent(line); }),
              lines.end());
    return lines;
}

TEST(StartLog, OfTheStairLightIsTheRecordedOne) {
    const DeviceStack deviceStack({StairLightSerialNumber});
    Host host({EndToEnd::SampleDevice("stairlight"), deviceStack.GetAddress()});
    ASSERT_TRUE(EndToEnd::WaitUntil([&host] {
        const Lines log = host.GetLog();
        return std::any_of(log.begin(), log.end(), [](const std::string& line) {
            return line.find("operator() - Thread finished.") != std::string::npos;
        });
    }));
    ASSERT_TRUE(host.Stop());

    const Lines expected = ReadLines(ORN_GOLDEN_FOLDER "/start.log");
    const Lines actual = Normalise(host.GetLog());

    const auto [wanted, found] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    EXPECT_TRUE(wanted == expected.end() && found == actual.end())
        << "first difference in line " << wanted - expected.begin() + 1
        << "\n  recorded: " << (wanted == expected.end() ? "(end)" : *wanted)
        << "\n  now:      " << (found == actual.end() ? "(end)" : *found);
}

}  // namespace
