#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace LocalDevice {

/// A text member of a message; empty where there is none.
std::string TextOf(const nlohmann::json& message, const char* key);

/// A connection to the control socket of a KNX stack host: one JSON object a line in both directions.
///
/// For the thread that runs `io`; the handlers are called there. The destructor ends the connection; no handler is
/// called after it.
class ControlClient {
public:
    struct Handlers {
        std::function<void()> onConnected;
        std::function<void(const nlohmann::json& message)> onMessage;
        /// The host has closed the connection.
        std::function<void()> onClosed;
    };

    /// Connects as soon as somebody listens at `socketPath`.
    ControlClient(boost::asio::io_context& io, const std::string& socketPath, Handlers handlers);
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    /// Queues a message; to be called from `onConnected` on.
    void Send(const nlohmann::json& message);

private:
    class Core;

    std::shared_ptr<Core> core_;
};

}  // namespace LocalDevice
