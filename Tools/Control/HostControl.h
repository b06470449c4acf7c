#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace LocalDevice {

/// What could not be done; `what()` is one line.
class ControlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A connection to the control socket of a KNX stack host: one JSON object a line in both directions. For one thread.
class HostControl {
public:
    /// Throws `ControlError` where nobody listens.
    explicit HostControl(const std::string& socketPath);

    /// Sends a command and returns its answer. Throws `ControlError` where it is refused, or does not come within
    /// `limit`.
    nlohmann::json Ask(const nlohmann::json& command, std::chrono::seconds limit);

    /// The next message, whenever it comes. Throws `ControlError` when the host has gone.
    nlohmann::json Receive();

private:
    std::string ReadLine(std::optional<std::chrono::seconds> limit);

    boost::asio::io_context io_;
    boost::asio::local::stream_protocol::socket socket_;
    boost::asio::streambuf buffer_;
};

/// The control socket of the one local device that runs in `folder` or, without one, on this machine. Throws
/// `ControlError`, which names what there is, where none or several do.
std::string FindControlSocket(const boost::filesystem::path& folder, int logicalDevice);

}  // namespace LocalDevice
