#pragma once

#include <array>
#include <cstddef>
#include <ostream>

namespace LifeCycle {

/// Where an init cycle can be stopped, in the order in which it gets there.
enum class Stop {
    LoadStateWait,         ///< waits for a load-state change
    ApplicationLoadState,  ///< reads the load state of the application's own object
    ObjectLoadStates,      ///< reads the load state of the first of all objects
    Memory,                ///< asks for the application's memory
    DeviceConfig,          ///< waits for the answer to each request from here ...
    Download,              ///< reads the download
    ChangeBegin,
    Devices,
    Cos,
    IpParameters,
    NumberParameters,
    TextParameters,
    ChangeEnd,
    ConfigurationLoaded,  ///< ... to here
    RunningWait,          ///< waits for the app to run
    RunState,             ///< sets the run state of the KNX stack
    KnxCommunication,     ///< waits for the answer to the event
    Over,                 ///< has ended
};

inline constexpr int StopCount = static_cast<int>(Stop::Over) + 1;

/// Whether the cycle waits there for the device stack.
inline bool IsRequest(Stop stop) {
    return (stop >= Stop::DeviceConfig && stop <= Stop::ConfigurationLoaded && stop != Stop::Download) ||
           stop == Stop::KnxCommunication;
}

inline std::ostream& operator<<(std::ostream& stream, Stop stop) {
    static constexpr std::array<const char*, StopCount> Names{"LoadStateWait",
                                                              "ApplicationLoadState",
                                                              "ObjectLoadStates",
                                                              "Memory",
                                                              "DeviceConfig",
                                                              "Download",
                                                              "ChangeBegin",
                                                              "Devices",
                                                              "Cos",
                                                              "IpParameters",
                                                              "NumberParameters",
                                                              "TextParameters",
                                                              "ChangeEnd",
                                                              "ConfigurationLoaded",
                                                              "RunningWait",
                                                              "RunState",
                                                              "KnxCommunication",
                                                              "Over"};
    return stream << Names[static_cast<std::size_t>(stop)];
}

}  // namespace LifeCycle
