#include "Zandrel/KnxOdsMapping.h"

#include <array>
#include <limits>

#include "DataPointTypes.h"
#include "Zandrel/ZanValue.h"

// The ids, readable in decimal. n is the logical device (1, 2), c the CO number (1 to 520), k the kind of parameter
// (0 IP, 1 number, 2 text) and s its slot (1 to 50):
//
//   KNX device                           1000
//   logical device n                n 000 000
//     channel of the device         n 000 100
//     app-control channel           n 001 000    its state, event, alive and debug points follow: 001 to 004
//     channel of CO c               n 010 000 + 10 c                  its value: + 1
//     channel of a parameter        n 020 000 + 1000 k + 10 s         its value: + 1
//
// So 1010421 is the value of CO 42 of logical device 1, and 2022031 that of text parameter 3 of logical device 2.
namespace Zandrel::KnxOdsMapping {

namespace {

constexpr int LogicalDevices = 2;
constexpr std::uint16_t MaxCo = 520;
constexpr std::uint16_t ParameterSlots = 50;
constexpr unsigned long ParameterKinds = 3;

constexpr unsigned long NoId = 0;
constexpr unsigned long KnxDevice = 1000;
constexpr unsigned long LogicalDevice = 1'000'000;

// Offsets within a logical device.
constexpr unsigned long DeviceChannel = 100;
constexpr unsigned long AppControlChannel = 1000;
constexpr unsigned long AppControlState = AppControlChannel + 1;
constexpr unsigned long AppControlEvent = AppControlChannel + 2;
constexpr unsigned long AppControlAlive = AppControlChannel + 3;
constexpr unsigned long AppControlAppDebug = AppControlChannel + 4;
constexpr unsigned long Cos = 10'000;
constexpr unsigned long Parameters = 20'000;
constexpr unsigned long ParameterKind = 1000;
constexpr unsigned long Channel = 10;  // from one channel to the next
constexpr unsigned long Value = 1;     // from a channel to its value

unsigned long IdOf(int logicalDevice, unsigned long offset) {
    if (logicalDevice < 1 || logicalDevice > LogicalDevices) {
        return NoId;
    }
    return static_cast<unsigned long>(logicalDevice) * LogicalDevice + offset;
}

std::optional<unsigned long> ChannelIdOf(int logicalDevice, unsigned long offset, std::uint16_t number,
                                         std::uint16_t maximum) {
    const unsigned long id = IdOf(logicalDevice, offset + Channel * number);
    return id == NoId || number < 1 || number > maximum ? std::nullopt : std::optional(id);
}

std::optional<unsigned long> ValueIdOf(unsigned long channelId, ObjectName::Kind channel) {
    const auto name = GetObjectName(channelId);
    return name && name->kind == channel ? std::optional(channelId + Value) : std::nullopt;
}

bool IsOfKind(unsigned long id, int logicalDevice, ObjectName::Kind kind) {
    const auto name = GetObjectName(id);
    return name && name->kind == kind && name->logicalDevice == logicalDevice;
}

/// Names the channel `index` (its distance from the channels' offset), or its value, of a row of up to `maximum`.
std::optional<ObjectName> NameInRow(unsigned long index, std::uint16_t maximum, ObjectName name,
                                    ObjectName::Kind valueKind) {
    const unsigned long number = index / Channel;
    const unsigned long part = index % Channel;
    if (number < 1 || number > maximum || part > Value) {
        return std::nullopt;
    }
    name.number = static_cast<std::uint16_t>(number);
    if (part == Value) {
        name.kind = valueKind;
    }
    return name;
}

const DataPointType* FindMainType(unsigned long mainType) {
    return mainType > std::numeric_limits<std::uint16_t>::max()
               ? nullptr
               : FindDataPointType(static_cast<std::uint32_t>(mainType) << 16U);
}

}  // namespace

unsigned long GetKnxDeviceObjModelId() {
    return KnxDevice;
}

unsigned long GetLogicalKnxDeviceObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, 0);
}

unsigned long GetOdsKnxDeviceChannelObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, DeviceChannel);
}

std::optional<unsigned long> GetCoChannelObjModelId(std::uint16_t co, int logicalDevice) {
    return ChannelIdOf(logicalDevice, Cos, co, MaxCo);
}

std::optional<unsigned long> GetCoValueObjModelId(unsigned long channelId) {
    return ValueIdOf(channelId, ObjectName::Kind::CoChannel);
}

std::optional<unsigned long> GetCoValueObjModelId(std::uint16_t co, int logicalDevice) {
    const auto channelId = GetCoChannelObjModelId(co, logicalDevice);
    return channelId ? std::optional(*channelId + Value) : std::nullopt;
}

std::optional<std::uint16_t> GetCoNumberFromObjModelId(unsigned long valueId, int logicalDevice) {
    const auto name = GetObjectName(valueId);
    if (!name || name->kind != ObjectName::Kind::CoValue || name->logicalDevice != logicalDevice) {
        return std::nullopt;
    }
    return name->number;
}

std::optional<unsigned long> GetParameterChannelObjModelId(std::uint16_t slot, int logicalDevice, ParameterType type) {
    const auto kind = static_cast<unsigned long>(type);
    if (kind >= ParameterKinds) {
        return std::nullopt;
    }
    return ChannelIdOf(logicalDevice, Parameters + kind * ParameterKind, slot, ParameterSlots);
}

std::optional<unsigned long> GetParameterValueObjModelId(unsigned long channelId) {
    return ValueIdOf(channelId, ObjectName::Kind::ParameterChannel);
}

unsigned long GetAppHostAppControlChannelObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, AppControlChannel);
}

unsigned long GetAppHostAppControlStateObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, AppControlState);
}

unsigned long GetAppHostAppControlEventObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, AppControlEvent);
}

unsigned long GetAppHostAppControlAliveObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, AppControlAlive);
}

unsigned long GetAppHostAppControlAppDebugObjModelId(int logicalDevice) {
    return IdOf(logicalDevice, AppControlAppDebug);
}

bool IsAppHostAppControlState(unsigned long id, int logicalDevice) {
    return IsOfKind(id, logicalDevice, ObjectName::Kind::AppControlState);
}

bool IsAppHostAppControlAliveHeartbeat(unsigned long id, int logicalDevice) {
    return IsOfKind(id, logicalDevice, ObjectName::Kind::AppControlAlive);
}

bool IsAppHostAppControlAppDebug(unsigned long id, int logicalDevice) {
    return IsOfKind(id, logicalDevice, ObjectName::Kind::AppControlAppDebug);
}

std::optional<ObjectName> GetObjectName(unsigned long id) {
    using Kind = ObjectName::Kind;
    if (id == KnxDevice) {
        return ObjectName{Kind::KnxDevice, 0, 0, ParameterType::Ip};
    }
    const unsigned long logicalDevice = id / LogicalDevice;
    if (logicalDevice < 1 || logicalDevice > LogicalDevices) {
        return std::nullopt;
    }
    const unsigned long offset = id % LogicalDevice;
    const auto named = [logicalDevice](Kind kind, ParameterType type = ParameterType::Ip) {
        return ObjectName{kind, static_cast<int>(logicalDevice), 0, type};
    };
    switch (offset) {
        case 0:
            return named(Kind::LogicalKnxDevice);
        case DeviceChannel:
            return named(Kind::OdsKnxDeviceChannel);
        case AppControlChannel:
            return named(Kind::AppControlChannel);
        case AppControlState:
            return named(Kind::AppControlState);
        case AppControlEvent:
            return named(Kind::AppControlEvent);
        case AppControlAlive:
            return named(Kind::AppControlAlive);
        case AppControlAppDebug:
            return named(Kind::AppControlAppDebug);
        default:
            break;
    }
    if (offset >= Parameters) {
        const unsigned long index = offset - Parameters;
        const unsigned long kind = index / ParameterKind;
        if (kind >= ParameterKinds) {
            return std::nullopt;
        }
        return NameInRow(index % ParameterKind, ParameterSlots,
                         named(Kind::ParameterChannel, static_cast<ParameterType>(kind)), Kind::ParameterValue);
    }
    if (offset >= Cos) {
        return NameInRow(offset - Cos, MaxCo, named(Kind::CoChannel), Kind::CoValue);
    }
    return std::nullopt;
}

std::string GetIvtFromMainType(unsigned long mainType) {
    const DataPointType* const type = FindMainType(mainType);
    return std::to_string(static_cast<unsigned>(type == nullptr ? ZANVALUE::Type::None : type->type));
}

std::string GetIstFromMainType(unsigned long mainType) {
    const DataPointType* const type = FindMainType(mainType);
    return std::to_string(type == nullptr ? ZANVALUE::PlainSubtype : type->subtype);
}

std::optional<std::string> GetDefaultValueFromDpt(unsigned long dpt, bool internal) {
    const DataPointType* const type =
        dpt > std::numeric_limits<std::uint32_t>::max() ? nullptr : FindDataPointType(static_cast<std::uint32_t>(dpt));
    if (type == nullptr) {
        return std::nullopt;
    }
    if (!internal) {
        return type->initial;
    }
    const unsigned long mainType = dpt >> 16U;
    return GetIvtFromMainType(mainType) + '.' + GetIstFromMainType(mainType) + ':' + type->initial;
}

}  // namespace Zandrel::KnxOdsMapping
