#pragma once

#include <log4cplus/logger.h>

#include <boost/date_time/posix_time/posix_time_duration.hpp>
#include <map>
#include <memory>
#include <string>

#include "Ostra/IDeviceStackClient.h"
#include "Zandrel/Docket.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

class RequestMessengerDeviceStack;

/// Sends requests to the device stack and hands out a `Docket` for each answer. Callable from any thread.
///
/// A request that cannot be sent gives a docket that is answered with an error. A time-out of zero is the default one.
/// A late answer is dropped with one DEBUG line.
class DscAsyncRequestMessenger {
public:
    /// Does not own `road`, which must outlive it. After `warnAfterTimeouts` time-outs in a row it logs one WARN line;
    /// with 0 it never does.
    DscAsyncRequestMessenger(RequestMessengerDeviceStack& road, boost::posix_time::time_duration defaultTimeout,
                             unsigned int warnAfterTimeouts, const log4cplus::Logger& logger);
    /// Ends like `UnsetAsResponseHandler`.
    virtual ~DscAsyncRequestMessenger();
    DscAsyncRequestMessenger(const DscAsyncRequestMessenger&) = delete;
    DscAsyncRequestMessenger& operator=(const DscAsyncRequestMessenger&) = delete;

    /// Begins to receive answers. Requests before this fail like those after `UnsetAsResponseHandler`.
    void SetAsResponseHandler();
    /// Ends every open docket with an error. Later requests fail the same way, without touching the road.
    void UnsetAsResponseHandler();

    /// Introduces the program to the device stack, now and after each reconnect.
    Docket RegisterApplication(const std::string& name, const std::string& type, const std::string& domain);

    /// Switches the connection to serialised values, now and after each reconnect; waits for the answer. False when it
    /// was refused or did not come.
    bool EnableNativeFormat();

    /// Sends `json`, a JSON object with a member "command".
    Docket Request(const std::string& json, boost::posix_time::time_duration timeout);

    /// Merges a document of devices, channels and data points into the object model.
    Docket SetConfiguration(const std::string& document, boost::posix_time::time_duration timeout);
    /// Sets properties of one object.
    Docket SetConfiguration(
        unsigned long id,
        const std::map<Ostra::IDeviceStackClient::PropertyType, Ostra::IDeviceStackClient::Property>& properties);

    /// Writes a data point. `isResponse` tells the device stack that the value answers a read request of the bus.
    Docket SetValue(unsigned long id, const ZANVALUE& value, bool isResponse = false);
    /// The same without an answer. False when it could not be sent.
    bool SetValueAndIgnoreResponse(unsigned long id, const ZANVALUE& value, bool isResponse = false);
    /// Reads a data point; the reply is the serialised value. `useStoredValue` takes the one that the device stack
    /// holds; the local device knows no other.
    Docket GetValue(unsigned long id, bool useStoredValue);

private:
    class Implementation;
    std::shared_ptr<Implementation> implementation_;
};

}  // namespace Zandrel
