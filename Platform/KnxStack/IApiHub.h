#pragma once

namespace KnxStack {

class IGroupValueService;
class IMemory;
class IPropertyService;

/// The stack's service hub, handed to `IApplicationProgram::Init`. The stack owns it and everything that it returns;
/// all of it stays valid until `deleteApplicationProgram` has returned. Callable from any thread.
class IApiHub {
public:
    /// The group objects of the device; null when the stack has none.
    virtual IGroupValueService* GetGroupValueService() = 0;

    /// The interface objects of the device; null when the stack has none.
    virtual IPropertyService* GetPropertyService() = 0;

    /// The downloaded memory of application program 1 (the text parameters); null while nothing is loaded. The object
    /// stays valid over a new download; its content is then the new one.
    virtual IMemory* GetApplicationPrg1Memory() = 0;

    /// Sets the run state of the application program that the stack shows on the bus: true running, false error. With
    /// true the stack sends the read requests of the group objects that are to be read on initialisation.
    virtual void SetRunState(bool running) = 0;

protected:
    ~IApiHub() = default;
};

}  // namespace KnxStack
