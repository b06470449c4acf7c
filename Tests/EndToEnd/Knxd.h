#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LocalDevice.h"

namespace EndToEnd {

/// A knxd without hardware, and its own tools as participants of its bus.
class Knxd {
public:
    /// Starts it and waits until it listens. Throws `std::runtime_error` where it does not in time.
    Knxd();

    /// Ends it hard, and starts it again at the same address.
    void Kill();
    void Start();

    /// "local:PATH", as knxd's tools and libraries take it.
    std::string GetUrl() const { return "local:" + socket_; }
    /// The same for the `--bus` of a host.
    std::string GetBus() const { return "knxd:" + GetUrl(); }

    /// Starts knxtool's `applet` on this bus.
    std::unique_ptr<ChildProcess> StartTool(const std::string& applet, std::vector<std::string> arguments = {}) const;

    /// Sends one telegram: a value of up to six bits, or a read. Throws where the tool fails.
    void Write(const std::string& address, const std::string& value) const;
    void Read(const std::string& address) const;

private:
    void RunTool(const std::string& applet, std::vector<std::string> arguments) const;

    TemporaryFolder folder_;
    std::string socket_ = folder_.At("eib");
    std::unique_ptr<ChildProcess> process_;
};

/// `knxtool groupsocketlisten`: hears every telegram of the bus from its construction on.
class BusListener {
public:
    explicit BusListener(const Knxd& knxd);

    /// What was sent to `address` so far, in order: "Write 01", "Response 41 42", "Read".
    std::vector<std::string> GetTelegrams(const std::string& address) const;

    /// Waits until `count` telegrams were sent to `address`. False when they were not within `limit`.
    bool WaitFor(const std::string& address, std::size_t count, Milliseconds limit = Limit) const;

private:
    std::unique_ptr<ChildProcess> tool_;
};

}  // namespace EndToEnd
