#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Bus/Telegram.h"

struct _EIBConnection;  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the client library's name

namespace LocalDevice {

/// No bus: `what()` is one line that says where it was looked for and what was found instead.
class BusError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One open group connection to a knxd. For one thread at a time; only opening waits, and then for a few seconds at
/// most, but for the system's own time-out where a distant host does not answer at all.
class KnxdConnection {
public:
    /// `url`: "local:PATH" or "ip:HOST[:PORT]". Throws `BusError`.
    explicit KnxdConnection(const std::string& url);

    /// The descriptor to poll for reading.
    int GetDescriptor() const;

    /// Reads what is there. `telegram` is set when a group telegram has been read whole. False when the connection is
    /// lost.
    bool Receive(std::optional<Telegram>& telegram);

    /// Whether `Send` would not have to wait; true as well when the connection is lost.
    bool IsReadyToSend() const;

    /// False when the connection is lost.
    bool Send(const Telegram& telegram);

private:
    struct Closer {
        void operator()(_EIBConnection* connection) const;
    };

    std::unique_ptr<_EIBConnection, Closer> connection_;
};

}  // namespace LocalDevice
