#pragma once

#include <log4cplus/initializer.h>

#include <string>

namespace LocalDevice {

/// Prints the messages of the device's check to standard error as long as it lives: one a line, without level and place
/// in the source. There is one at a time.
class MessageOutput {
public:
    MessageOutput();

private:
    const log4cplus::Initializer initializer_;
};

/// A text from a package for the terminal: control characters are written as "\xNN".
std::string Printable(const std::string& text);

}  // namespace LocalDevice
