#pragma once

#include <log4cplus/initializer.h>

namespace LocalDevice {

/// Prints the messages of the device's check to standard error as long as it lives: one a line, without level and place
/// in the source. There is one at a time.
class MessageOutput {
public:
    MessageOutput();

private:
    const log4cplus::Initializer initializer_;
};

}  // namespace LocalDevice
