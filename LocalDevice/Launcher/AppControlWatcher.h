#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Ostra/IDeviceStackClient.h"

namespace LocalDevice {

/// Follows what device and app tell each other on the app-control points of the device stack.
///
/// For the thread that runs `io`; the handler is called there. The destructor ends the connection; the handler is not
/// called after it.
class AppControlWatcher {
public:
    enum class Point {
        RunState,  ///< 0 stopped, 1 starting, 2 running, 3 stopping
        Event,     ///< 1 shut down, 2 KNX communication on, 3 KNX communication off
        AppDebug,  ///< 1 when a developer starts the managed app by hand
    };
    static constexpr int Stopped = 0;
    static constexpr int Starting = 1;
    static constexpr int Running = 2;
    static constexpr int CommunicationOn = 2;
    static constexpr int DebugOn = 1;

    /// `value`: none when the device stack is gone.
    using Handler = std::function<void(int logicalDevice, Point point, std::optional<int> value)>;

    /// Connects to the device stack at `address`, "HOST:PORT", as soon as it is there.
    AppControlWatcher(boost::asio::io_context& io, std::string address, Handler handler);
    ~AppControlWatcher();
    AppControlWatcher(const AppControlWatcher&) = delete;
    AppControlWatcher& operator=(const AppControlWatcher&) = delete;

private:
    class Subscriber;
    struct Releaser {
        void operator()(Ostra::IDeviceStackClient* client) const { Ostra::ReleaseDeviceStackClient(client); }
    };

    void Connect();

    const std::string address_;
    const std::shared_ptr<Subscriber> subscriber_;
    boost::asio::steady_timer retry_;
    std::unique_ptr<Ostra::IDeviceStackClient, Releaser> client_;
};

}  // namespace LocalDevice
