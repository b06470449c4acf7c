#include "LogicalKnxDevice.h"

#include <boost/algorithm/string/predicate.hpp>
#include <nlohmann/json.hpp>

namespace Zandrel {

namespace {

/// Discarded where `reply` is not JSON.
nlohmann::json ParseReply(const std::string& reply) {
    if (reply.find('\0') != std::string::npos) {  // the parser would take it for the end
        return {nlohmann::json::value_t::discarded};
    }
    return nlohmann::json::parse(reply, nullptr, false);
}

/// Null where `value` has no such member or is no object.
const nlohmann::json& Member(const nlohmann::json& value, const std::string& key) {
    static const nlohmann::json null;
    const auto member = value.find(key);
    return member == value.end() ? null : *member;
}

/// Empty where there is none.
std::string SerialNumberOf(LogicalDeviceId device, const nlohmann::json& reply) {
    const nlohmann::json& ipc = Member(Member(Member(reply, "response"), "deviceConfig"), "ipc");
    const nlohmann::json& serialNumber = Member(ipc, "KnxSerialNumber" + std::to_string(device.Value()));
    return serialNumber.is_string() ? serialNumber.get<std::string>() : std::string();
}

}  // namespace

std::optional<LogicalDeviceId> GetLogicalKnxDeviceId(DeviceStackConnection& connection, const std::string& serialNumber,
                                                     const PrefixedLogger& log) {
    const std::optional<Docket> docket = connection.Request(R"({"command":"GetDeviceConfig"})");
    if (!docket) {
        ORN_LOG(log, ERROR, "Connection to device stack unavailable!");
        return std::nullopt;
    }
    switch (Judge(*docket)) {
        case Answer::Valid:
            break;
        case Answer::TimedOut:
            ORN_LOG(log, ERROR, "Retrieving value from devicestack timed out!");
            return std::nullopt;
        case Answer::Refused:
            ORN_LOG(log, ERROR, "Error retrieving configuration from devicestack! " << docket->ReadDeliveryError());
            return std::nullopt;
    }
    const nlohmann::json reply = ParseReply(docket->ReadReply());
    if (!reply.is_object()) {
        ORN_LOG(log, ERROR, "The configuration from devicestack is not a JSON object!");
        return std::nullopt;
    }
    for (const std::optional<LogicalDeviceId> device : {LogicalDeviceId::From(1), LogicalDeviceId::From(2)}) {
        if (boost::algorithm::iequals(SerialNumberOf(*device, reply), serialNumber)) {
            ORN_LOG(log, INFO, "This is logical KNX device " << device->Value());
            return device;
        }
    }
    ORN_LOG(log, ERROR, "Could not determine logical KNX device.");
    return std::nullopt;
}

}  // namespace Zandrel
