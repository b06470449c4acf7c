#pragma once

#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// Where an app's values and its run state go.
class IDeviceStack {
public:
    /// Hands a value of a data point on, without waiting. False when there is no connection. Any thread.
    virtual bool SetValue(unsigned long id, const Zandrel::ZANVALUE& value) = 0;

    /// Asked before each value of the app: waits, for 5 s at most, where too many of them are on their way. Any thread
    /// on which nothing of the device stack is reported.
    virtual void AwaitRoom() = 0;

protected:
    ~IDeviceStack() = default;
};

}  // namespace LocalDevice
