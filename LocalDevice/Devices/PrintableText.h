#pragma once

#include <string>
#include <string_view>

namespace LocalDevice {

/// Text from anywhere, fit for a line of a log or a terminal, which it can neither break nor command: control
/// characters (U+0000 to U+001F, U+007F to U+009F) are escaped as in JSON, bytes that are not UTF-8 as "\\xff". All
/// other text stays as it is.
std::string MakePrintable(std::string_view text);

/// The same for a text of several lines, which they stay: each but the first is indented, so that it does not begin as
/// a line of the log does.
std::string MakePrintableLines(std::string_view text);

}  // namespace LocalDevice
