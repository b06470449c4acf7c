#include "ModelText.h"

#include <ostream>
#include <stdexcept>

#include "Zandrel/KnxOdsMapping.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

namespace {

using Json = nlohmann::ordered_json;
using Zandrel::ParameterType;
using Zandrel::ZANVALUE;
using Zandrel::KnxOdsMapping::ObjectName;

constexpr const char* Step = "  ";

std::string DescribeParameter(const ObjectName& name) {
    const std::string number = std::to_string(name.number);
    switch (name.parameterType) {
        case ParameterType::Ip:
            return "IP parameter " + number;
        case ParameterType::Number:
            return "number parameter " + number;
        case ParameterType::Text:
            break;
    }
    return "text parameter " + number;
}

std::string DescribeType(const ZANVALUE& value) {
    switch (value.GetType()) {
        case ZANVALUE::Type::None:
            return "none";
        case ZANVALUE::Type::Boolean:
            return "boolean";
        case ZANVALUE::Type::Integer:
            return "integer";
        case ZANVALUE::Type::Float:
            return "float";
        case ZANVALUE::Type::Text:
            break;
    }
    return "text";
}

/// The text on one line whatever it holds.
std::string Escape(const std::string& text) {
    const std::string quoted = Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return quoted.substr(1, quoted.size() - 2);
}

/// The beginning of every object's line: its id, what the id stands for, its name and its flags.
void PrintHead(std::ostream& stream, const Json& json, const std::string& kind, const std::string& indentation) {
    const auto id = json.at("id").get<unsigned long>();
    stream << indentation << kind << ' ' << id;
    if (const std::string description = DescribeId(id); !description.empty()) {
        stream << "  " << description;
    }
    if (json.contains("name")) {
        stream << "  " << Quote(json["name"].get<std::string>());
    }
    if (json.contains("enabled")) {
        stream << (json["enabled"].get<bool>() ? "  enabled" : "  disabled");
    }
    if (json.contains("visible")) {
        stream << (json["visible"].get<bool>() ? "  visible" : "  hidden");
    }
}

void PrintMetadata(std::ostream& stream, const Json& json, const std::string& indentation) {
    if (!json.contains("metadata")) {
        return;
    }
    for (const Json& pair : json["metadata"]) {
        stream << indentation << Step << Escape(pair.at("key").get<std::string>()) << " = "
               << Quote(pair.at("value").get<std::string>()) << '\n';
    }
}

}  // namespace

std::string DescribeId(unsigned long id) {
    const auto name = Zandrel::KnxOdsMapping::GetObjectName(id);
    if (!name) {
        return {};
    }
    switch (name->kind) {
        case ObjectName::Kind::KnxDevice:
            return "KNX device";
        case ObjectName::Kind::LogicalKnxDevice:
            return "logical KNX device " + std::to_string(name->logicalDevice);
        case ObjectName::Kind::OdsKnxDeviceChannel:
            return "channel of the device";
        case ObjectName::Kind::CoChannel:
            return "CO " + std::to_string(name->number);
        case ObjectName::Kind::CoValue:
            return "CO " + std::to_string(name->number) + " value";
        case ObjectName::Kind::ParameterChannel:
            return DescribeParameter(*name);
        case ObjectName::Kind::ParameterValue:
            return DescribeParameter(*name) + " value";
        case ObjectName::Kind::AppControlChannel:
            return "app control";
        case ObjectName::Kind::AppControlState:
            return "app control: run state";
        case ObjectName::Kind::AppControlEvent:
            return "app control: event";
        case ObjectName::Kind::AppControlAlive:
            return "app control: heartbeat";
        case ObjectName::Kind::AppControlAppDebug:
            return "app control: debug switch";
    }
    return {};
}

std::string DescribeValue(const std::string& serialised) {
    try {
        const ZANVALUE value = ZANVALUE::Deserialize(serialised);
        const std::string type = DescribeType(value);
        if (value.GetType() == ZANVALUE::Type::None) {
            return type;
        }
        return type + ' ' + (value.GetType() == ZANVALUE::Type::Text ? Quote(value.ToString()) : value.ToString());
    } catch (const std::invalid_argument&) {
        return Quote(serialised);
    }
}

std::string Quote(const std::string& text) {
    return '"' + Escape(text) + '"';
}

void PrintDevice(std::ostream& stream, const Json& json) {
    PrintHead(stream, json, "Device", "");
    stream << '\n';
    PrintMetadata(stream, json, "");
    for (const Json& channel : json.at("channels")) {
        PrintChannel(stream, channel, Step);
    }
}

void PrintChannel(std::ostream& stream, const Json& json, const std::string& indentation) {
    PrintHead(stream, json, "Channel", indentation);
    stream << '\n';
    for (const Json& point : json.at("datapoints")) {
        PrintDataPoint(stream, point, indentation + Step);
    }
}

void PrintDataPoint(std::ostream& stream, const Json& json, const std::string& indentation) {
    PrintHead(stream, json, "Data point", indentation);
    stream << "  = " << (json.contains("value") ? DescribeValue(json["value"].get<std::string>()) : "no value");
    if (json.contains("defaultValue")) {
        stream << "  default " << DescribeValue(json["defaultValue"].get<std::string>());
    }
    if (json.value("eventAlways", "") == "1") {
        stream << "  reported always";
    }
    stream << '\n';
    PrintMetadata(stream, json, indentation);
}

}  // namespace LocalDevice
