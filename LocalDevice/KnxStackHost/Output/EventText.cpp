#include "Output/EventText.h"

#include <log4cplus/loglevel.h>

#include <boost/format.hpp>
#include <ctime>

#include "GroupObjects/ValueFormat.h"
#include "GroupObjects/ValueText.h"
#include "InterfaceObjects/InterfaceObjects.h"
#include "KnxAddress.h"
#include "PrintableText.h"

namespace LocalDevice {

namespace {

enum class Colour : std::uint8_t { None, Red, Green, Yellow, Cyan, Bold };

const char* GetCode(Colour colour) {
    switch (colour) {
        case Colour::Red:
            return "\x1b[31m";
        case Colour::Green:
            return "\x1b[32m";
        case Colour::Yellow:
            return "\x1b[33m";
        case Colour::Cyan:
            return "\x1b[36m";
        case Colour::Bold:
            return "\x1b[1m";
        case Colour::None:
            break;
    }
    return "";
}

struct Line {
    std::string text;
    Colour colour = Colour::None;
};

Colour GetColour(const TelegramEvent& event) {
    switch (event.verdict) {
        case Verdict::Refused:
        case Verdict::Dropped:
            return Colour::Red;
        case Verdict::Ignored:
        case Verdict::Silent:
        case Verdict::Queued:
        case Verdict::Kept:
        case Verdict::Echo:
            return Colour::Yellow;
        default:
            return event.isIncoming ? Colour::Cyan : Colour::Green;
    }
}

std::string DescribeValue(const TelegramEvent& event) {
    if (event.telegram.service == GroupService::Read) {
        return {};
    }
    const auto text = event.value ? GetValueText(*event.value, event.dpt) : std::nullopt;
    return text.value_or("--") + " [" + FormatHex(event.telegram.data) + "]  ";
}

Line ToLine(const TelegramEvent& event) {
    const auto address = event.telegram.groupAddress == 0 ? "-" : FormatGroupAddress(event.telegram.groupAddress);
    const std::string reason = event.reason.empty() ? "" : ": " + event.reason;
    return {(boost::format("%s %-8s %-9s CO %-3d %-20s %-7s %s%s%s") % (event.isIncoming ? "->" : "<-") %
             ToText(event.telegram.service) % address % event.number % event.name % FormatDpt(event.dpt) %
             DescribeValue(event) % ToText(event.verdict) % reason)
                .str(),
            GetColour(event)};
}

Line ToLine(const RunStateEvent& event) {
    return {std::string("== run state: ") + ToText(event.state),
            event.state == RunState::Error ? Colour::Red : Colour::Bold};
}

Line ToLine(const LoadStateEvent& event) {
    return {std::string("== ") + GetObjectName(event.objectType) + ": " + ToText(event.state)};
}

Line ToLine(const BusEvent& event) {
    return {"== " + event.text, event.isConnected ? Colour::Bold : Colour::Red};
}

Line ToLine(const LogEvent& event) {
    const bool isError = event.level >= log4cplus::ERROR_LOG_LEVEL;
    const bool isWarning = event.level >= log4cplus::WARN_LOG_LEVEL;
    return {(boost::format("   %-5s %s") % log4cplus::getLogLevelManager().toString(event.level) %
             CompactLogText(event.level, event.text))
                .str(),
            isError     ? Colour::Red
            : isWarning ? Colour::Yellow
                        : Colour::None};
}

Line ToLine(const MessageEvent& event) {
    return {"== " + event.text, event.isProblem ? Colour::Red : Colour::None};
}

}  // namespace

std::string FormatTime(std::chrono::system_clock::time_point time) {
    const auto second = std::chrono::floor<std::chrono::seconds>(time);  // down, also before 1970
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - second);
    const std::time_t sinceEpoch = std::chrono::system_clock::to_time_t(second);
    std::tm local{};
    localtime_r(&sinceEpoch, &local);
    return (boost::format("%02d:%02d:%02d.%03d") % local.tm_hour % local.tm_min % local.tm_sec % milliseconds.count())
        .str();
}

std::string FormatEvent(const HostEvent& event, bool isColoured) {
    const Line line = std::visit([](const auto& body) { return ToLine(body); }, event.body);
    const std::string text = FormatTime(event.time) + " " + MakePrintable(line.text);
    const bool hasColour = isColoured && line.colour != Colour::None;
    return hasColour ? GetCode(line.colour) + text + "\x1b[0m" : text;
}

std::string_view CompactLogText(int level, std::string_view line) {
    constexpr std::string_view Separator = " - ";
    const bool hasPrefix = !line.empty() && line.front() == '[';
    const auto separator = line.find(Separator, hasPrefix ? line.find("] ") : 0);
    if (separator == std::string::npos) {
        return line;
    }
    std::string_view text = line.substr(separator + Separator.size());
    // Errors of a plug-in that does not know its application id yet carry a call stack: " [" FRAMES "]".
    const auto stack = text.find(" [");
    if (!hasPrefix && level >= log4cplus::ERROR_LOG_LEVEL && stack != std::string_view::npos && text.back() == ']') {
        text = text.substr(0, stack);
    }
    return text;
}

}  // namespace LocalDevice
