#pragma once

#include <cstdint>

namespace KnxStack {

class IApiHub;

/// Version of the plug-in interface that these headers describe. The host refuses a library whose
/// `getKnxStackApiVersion` returns another number.
constexpr std::uint32_t ApiVersion = 10;

/// The application program of a KNX device: what the stack's host gets from a plug-in library and drives.
///
/// The host makes all calls from one thread of its own, one at a time: `Init` once, `OnDeviceRestart` any number of
/// times, `Exit` once, then `deleteApplicationProgram`. It holds no lock of its own during a call. No call throws.
///
/// Slots: 0 and 1 destructor and deleting destructor, 2 `Init`, 3 `OnDeviceRestart`, 4 `Exit`.
class IApplicationProgram {
public:
    virtual ~IApplicationProgram() = default;

    /// Starts the application. `hub` stays valid until `deleteApplicationProgram` has returned.
    /// Returns 2 when the start is under way (it goes on in the background), 0 on failure; after a failure the host
    /// calls `Exit` and deletes the object.
    virtual int Init(IApiHub& hub) = 0;

    /// The downloaded configuration has changed or is about to: stops the application and starts it anew.
    /// Returns 2 when a start is under way, or one that an earlier call began still is; 0 on failure.
    virtual int OnDeviceRestart() = 0;

    /// Stops the application. Returns 1.
    virtual int Exit() = 0;
};

}  // namespace KnxStack

/// The three functions that a plug-in library exports, found by these names.
extern "C" {

/// Returns `KnxStack::ApiVersion`. May be called at any time.
std::uint32_t getKnxStackApiVersion();

/// Creates one application program, owned by the caller, who gives it back with `deleteApplicationProgram`. Throws when
/// a thread or a mutex cannot be created.
KnxStack::IApplicationProgram* createApplicationProgram();

/// Destroys an object of `createApplicationProgram`; null is accepted.
void deleteApplicationProgram(KnxStack::IApplicationProgram* applicationProgram);
}
