#pragma once

#include <boost/chrono/duration.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace LocalDevice {

/// One step of a demo: a telegram that another device sends, or one that the device is to send.
struct DemoStep {
    enum class Kind {
        Write,   ///< another device sends the telegram
        Expect,  ///< it is the next one that the device sends on its address
        Await,   ///< the device sends it, whatever it sends on its address before
    };

    std::string title;  ///< for people
    Kind kind = Kind::Write;
    std::uint16_t groupAddress = 0;
    std::string value;                       ///< as plain text, in the data-point type of the group address
    boost::chrono::milliseconds timeout{0};  ///< of an expectation, from the moment its step is reached
};

/// Telegrams that show what an app does, in order.
struct DemoScript {
    std::string title;
    std::vector<DemoStep> steps;
};

/// Reads a demo as strictly as a device description. Throws `JsonFileError`.
DemoScript LoadDemoScript(const std::string& path);

}  // namespace LocalDevice
