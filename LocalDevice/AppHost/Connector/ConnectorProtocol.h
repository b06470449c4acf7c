#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "orn/app.h"

/// What the connector library and the connector host say to each other, over a TCP connection on 127.0.0.1: lines of
/// UTF-8, each a word and what belongs to it, separated by single blanks.
///
/// The library says:
///     orn-connector 1              first of all: the version
///     parameter KIND SLOT TEXT     KIND: ip, number or text
///     value CO TYPE TEXT           a communication object has or gets a value; TYPE: boolean, integer, number or text
///     start                        all that is known has been said: the app may start
///     communication on|off         off until it is on
///     ping                         now and then; a host that is silent for too long counts as gone
///     stop                         the app is to stop; the host ends after that
/// The host says:
///     orn-connector 1              first of all: the version
///     running                      the app has started
///     set CO TYPE TEXT
///     log LEVEL TEXT               LEVEL: debug, info, warn or error
///     fail TEXT                    the app cannot go on
///     pong MILLISECONDS [debugged] answers a ping: for how long the app has been in its present call; 0 between calls.
///                                  With the word a debugger may halt the host: its silence means nothing until it says
///                                  otherwise
///
/// A text runs to the end of its line; in it a line feed is "\n", a carriage return "\r" and a backslash "\\".
namespace LocalDevice::ConnectorProtocol {

inline constexpr const char* Greeting = "orn-connector 1";

/// A line of the host without its line feed; a longer one is a violation. The host cuts what it logs.
inline constexpr std::size_t LongestLine = 65536;

std::string Escape(const std::string& text);
std::string Unescape(const std::string& text);

/// A value of the app interface that owns its text.
using Value = std::variant<bool, std::int64_t, double, std::string>;
Value ToValue(const orn_value& value);
/// The same for a call of the host; a text lies in `value`.
orn_value ToAppValue(const Value& value);

/// "TYPE TEXT", and the inverse: none where `line` is no value.
std::string FromValue(const Value& value);
std::optional<Value> ParseValue(std::string line);

/// The number of a CO; none where `text` is none.
std::optional<std::uint16_t> ParseCo(const std::string& text);

/// A duration as a pong has it; none where `text` is none.
std::optional<std::chrono::milliseconds> ParseMilliseconds(const std::string& text);

/// Takes the first word and the blank behind it off `line`.
std::string TakeWord(std::string& line);

}  // namespace LocalDevice::ConnectorProtocol
