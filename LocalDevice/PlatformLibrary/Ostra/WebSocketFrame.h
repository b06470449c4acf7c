#pragma once

#include <cstdint>
#include <string>

namespace Ostra {

/// One whole binary message of a WebSocket client (RFC 6455, 5.2 and 5.3), as it goes over the wire. `maskingKey` has
/// to be one that nobody can foresee.
std::string EncodeBinaryFrame(const std::string& payload, std::uint32_t maskingKey);

/// One whole text message of a WebSocket server, as it goes over the wire.
std::string EncodeTextFrame(const std::string& payload);

}  // namespace Ostra
