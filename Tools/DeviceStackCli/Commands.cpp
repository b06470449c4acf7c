#include "Commands.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/date_time/posix_time/time_formatters.hpp>
#include <iostream>
#include <utility>

#include "ModelText.h"
#include "ServiceConnection.h"
#include "Zandrel/EncodedString.h"

namespace LocalDevice {

namespace {

using Json = ServiceConnection::Json;

enum class Kind { Device, Channel, DataPoint };

/// The object of this id and its kind; throws where there is none.
std::pair<Kind, const Json*> FindObject(const Json& model, unsigned long id) {
    for (const Json& device : model.at("devices")) {
        if (device.at("id") == id) {
            return {Kind::Device, &device};
        }
        for (const Json& channel : device.at("channels")) {
            if (channel.at("id") == id) {
                return {Kind::Channel, &channel};
            }
            for (const Json& point : channel.at("datapoints")) {
                if (point.at("id") == id) {
                    return {Kind::DataPoint, &point};
                }
            }
        }
    }
    throw ServiceError("no object has the id " + std::to_string(id));
}

void PrintObject(Kind kind, const Json& object) {
    switch (kind) {
        case Kind::Device:
            return PrintDevice(std::cout, object);
        case Kind::Channel:
            return PrintChannel(std::cout, object, "");
        case Kind::DataPoint:
            return PrintDataPoint(std::cout, object, "");
    }
}

void List(ServiceConnection& service, const CliOptions& options) {
    service.Request("EnableNativeFormat");
    const Json model = service.Request("GetObjectModel");
    if (!options.ids.empty()) {
        const auto [kind, object] = FindObject(model, *options.ids.begin());
        if (options.isJson) {
            std::cout << object->dump(2) << '\n';
        } else {
            PrintObject(kind, *object);
        }
        return;
    }
    if (options.isJson) {
        std::cout << model.dump(2) << '\n';
        return;
    }
    for (const Json& device : model.at("devices")) {
        PrintDevice(std::cout, device);
    }
}

void Get(ServiceConnection& service, const CliOptions& options) {
    if (options.isRaw) {
        service.Request("EnableNativeFormat");
    }
    const Json response = service.Request("GetValue", {{"id", *options.ids.begin()}});
    std::cout << response.at("value").get<std::string>() << '\n';
}

void Set(ServiceConnection& service, const CliOptions& options) {
    using Zandrel::getLatin1FromUTF8Lossy;
    using Zandrel::getUTF8FromLatin1;
    if (options.serialised) {
        service.Request("EnableNativeFormat");
    }
    const std::string value = options.serialised.value_or(options.value);
    Json members{{"id", *options.ids.begin()}, {"value", value}};
    if (!getLatin1FromUTF8Lossy(Zandrel::UTF8String(value))) {
        members["value"] = getUTF8FromLatin1(Zandrel::KnxStyleString(value)).GetBytes();
        members["encoding"] = "latin-1";
    }
    service.Request("SetValue", members);
}

std::string GetTimeOfDay() {
    const auto now = boost::posix_time::microsec_clock::local_time();
    // Down to the millisecond.
    return boost::posix_time::to_simple_string(now).substr(12, 12);
}

void PrintEvent(const Json& event) {
    const std::string kind = event.at("event").get<std::string>();
    std::cout << GetTimeOfDay() << "  ";
    if (kind == "emitted") {
        std::cout << "event " << Quote(event.at("eventType").get<std::string>()) << " of "
                  << Quote(event.at("sender").get<std::string>());
    } else {
        const auto id = event.at("id").get<unsigned long>();
        const std::string description = DescribeId(id);
        std::cout << id << (description.empty() ? "" : "  ") << description;
        if (kind == "valueChanged") {
            std::cout << "  = " << DescribeValue(event.at("value").get<std::string>());
        } else {
            std::cout << "  configuration changed";
        }
    }
    std::cout << std::endl;
}

void Watch(ServiceConnection& service, const CliOptions& options) {
    service.Request("EnableNativeFormat");
    service.Request("RegisterApplication", {{"name", "devicestack-cli"}, {"type", "tool"}, {"domain", "local"}});
    service.CatchEndSignals();
    std::cout << "watching; end with Ctrl-C" << std::endl;
    while (const std::optional<Json> event = service.ReceiveEvent()) {
        if (options.ids.empty() || (event->contains("id") && options.ids.count(event->at("id")) != 0)) {
            PrintEvent(*event);
        }
    }
}

}  // namespace

void RunCommand(const CliOptions& options) {
    ServiceConnection service(options.host, options.port);
    switch (options.command) {
        case CliOptions::Command::Help:
            return;
        case CliOptions::Command::List:
            return List(service, options);
        case CliOptions::Command::Get:
            return Get(service, options);
        case CliOptions::Command::Set:
            return Set(service, options);
        case CliOptions::Command::Watch:
            return Watch(service, options);
    }
}

}  // namespace LocalDevice
