#pragma once

#include <chrono>
#include <cstddef>

namespace LocalDevice {

/// What a connection may take before it is refused or ended.
struct ConnectionLimits {
    std::chrono::milliseconds handshake{10000};    ///< for the HTTP request and the WebSocket handshake, each
    std::chrono::milliseconds idle{60000};         ///< without a sign of life; a ping asks for one after half of it
    std::chrono::milliseconds close{1000};         ///< for taking leave of all clients at the end of the service
    std::size_t message = std::size_t{16} << 20U;  ///< bytes of one message of a client
    std::size_t queue = std::size_t{16} << 20U;    ///< bytes that wait for a client that does not read
};

}  // namespace LocalDevice
