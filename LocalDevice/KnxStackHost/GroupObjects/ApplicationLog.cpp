#include "GroupObjects/ApplicationLog.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "Output/EventText.h"

namespace LocalDevice {

namespace {

// How the lines begin.
constexpr std::string_view ToBeWritten = "Value to be written on CO";
constexpr std::string_view Echo = "Drop echo on CO";
constexpr std::string_view NotConvertible = "This ZANVALUE does not convert to a valid GroupValue for the CO ";
constexpr std::string_view NotUtf8 = "Cannot convert a non-UTF8 string to Latin-1 for writing to the KNX";

thread_local ApplicationLog::Call* currentCall = nullptr;
/// The one that `NotUtf8` does not name.
thread_local AppWrite lastToBeWritten;

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// The value in `COMMUNICATION OBJECT ", " TYPE " -> " VALUE`.
std::string GetValue(std::string_view text) {
    constexpr std::string_view Arrow = " -> ";
    const auto arrow = text.find(Arrow);
    return arrow == std::string_view::npos ? std::string() : std::string(text.substr(arrow + Arrow.size()));
}

std::uint16_t GetNumber(std::string_view text) {
    std::uint16_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

AppWrite ReadWrite(AppWrite::Fate fate, std::string_view text) {
    return {fate, GetNumber(text), GetValue(text), {}};
}

AppWrite Refuse(std::uint16_t number, std::string value, std::string_view remark) {
    return {AppWrite::Fate::Refused, number, std::move(value), std::string(remark)};
}

/// What a line, without what stands in front of its message, tells of a write; none where it is about something else.
std::optional<AppWrite> Read(std::string_view message) {
    if (StartsWith(message, Echo)) {
        return ReadWrite(AppWrite::Fate::Echo, message.substr(Echo.size()));
    }
    if (StartsWith(message, ToBeWritten)) {
        lastToBeWritten = ReadWrite(AppWrite::Fate::Passed, message.substr(ToBeWritten.size()));
        return lastToBeWritten;
    }
    if (StartsWith(message, NotConvertible)) {
        return Refuse(GetNumber(message.substr(NotConvertible.size())), {}, message);
    }
    if (StartsWith(message, NotUtf8)) {
        return Refuse(lastToBeWritten.number, lastToBeWritten.value, message);
    }
    return std::nullopt;
}

}  // namespace

ApplicationLog::ApplicationLog(AppWriteHandler onAppWrite)
    : onAppWrite_(std::move(onAppWrite)),
      tap_(log4cplus::DEBUG_LOG_LEVEL,
           [this](log4cplus::LogLevel level, const std::string& line) { OnLine(level, line); }) {}

void ApplicationLog::OnLine(log4cplus::LogLevel level, const std::string& line) {
    const std::string_view message = CompactLogText(level, line);
    if (const auto write = Read(message)) {
        onAppWrite_(*write);
    }
    if (currentCall != nullptr && level >= log4cplus::INFO_LOG_LEVEL) {
        currentCall->remark_ = message;
    }
}

ApplicationLog::Call::Call() : outer_(std::exchange(currentCall, this)) {}

ApplicationLog::Call::~Call() {
    currentCall = outer_;
}

}  // namespace LocalDevice
