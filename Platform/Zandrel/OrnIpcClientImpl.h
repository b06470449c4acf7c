#pragma once

#include <memory>

namespace Zandrel {

/// The way to the device's supervisor, the process that restarts the device and drives its RUN LED.
///
/// A request is sent and not waited for; where nobody listens it is lost after one ERROR line. Callable from any
/// thread.
class OrnIpcClientImpl {
public:
    /// The sender's and the supervisor's process numbers on the device's IPC bus. Throws `std::bad_alloc` only.
    OrnIpcClientImpl(int ownProcess, int supervisorProcess);
    ~OrnIpcClientImpl();
    OrnIpcClientImpl(const OrnIpcClientImpl&) = delete;
    OrnIpcClientImpl& operator=(const OrnIpcClientImpl&) = delete;

    /// Asks for a restart of the device; true also resets it to its factory state. Several requests at once are one.
    void Restart(bool factoryReset);

    /// Switches the RUN LED off.
    void SetRunLedOff();

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace Zandrel
