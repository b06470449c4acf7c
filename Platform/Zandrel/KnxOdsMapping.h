#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Zandrel {

/// The kinds of parameters, each with slots 1 to 50.
enum class ParameterType : int { Ip = 0, Number = 1, Text = 2 };

/// The object-model ids of a KNX device, and the value types of its data points.
///
/// Every id fits into 32 bits and is never 0. `logicalDevice` is 1 or 2; a device, a CO number (1 to 520) or a slot
/// (1 to 50) out of range has no id: none, or 0 where the result is a plain number. All functions are pure.
namespace KnxOdsMapping {

unsigned long GetKnxDeviceObjModelId();
unsigned long GetLogicalKnxDeviceObjModelId(int logicalDevice);
unsigned long GetOdsKnxDeviceChannelObjModelId(int logicalDevice);

std::optional<unsigned long> GetCoChannelObjModelId(std::uint16_t co, int logicalDevice);
/// The value data point of a CO's channel; none when `channelId` is no CO's channel.
std::optional<unsigned long> GetCoValueObjModelId(unsigned long channelId);
std::optional<unsigned long> GetCoValueObjModelId(std::uint16_t co, int logicalDevice);
/// The CO whose value data point `valueId` is; none for any other id and for the other logical device's.
std::optional<std::uint16_t> GetCoNumberFromObjModelId(unsigned long valueId, int logicalDevice);

std::optional<unsigned long> GetParameterChannelObjModelId(std::uint16_t slot, int logicalDevice, ParameterType type);
/// The value data point of a parameter's channel; none when `channelId` is no parameter's channel.
std::optional<unsigned long> GetParameterValueObjModelId(unsigned long channelId);

unsigned long GetAppHostAppControlChannelObjModelId(int logicalDevice);
unsigned long GetAppHostAppControlStateObjModelId(int logicalDevice);
unsigned long GetAppHostAppControlEventObjModelId(int logicalDevice);
unsigned long GetAppHostAppControlAliveObjModelId(int logicalDevice);
unsigned long GetAppHostAppControlAppDebugObjModelId(int logicalDevice);

bool IsAppHostAppControlState(unsigned long id, int logicalDevice);
bool IsAppHostAppControlAliveHeartbeat(unsigned long id, int logicalDevice);
bool IsAppHostAppControlAppDebug(unsigned long id, int logicalDevice);

/// What an id stands for: the inverse of the functions above.
struct ObjectName {
    enum class Kind {
        KnxDevice,
        LogicalKnxDevice,
        OdsKnxDeviceChannel,
        CoChannel,
        CoValue,
        ParameterChannel,
        ParameterValue,
        AppControlChannel,
        AppControlState,
        AppControlEvent,
        AppControlAlive,
        AppControlAppDebug,
    };
    Kind kind;
    int logicalDevice;            ///< 1 or 2; 0 for the KNX device
    std::uint16_t number;         ///< CO number or slot; 0 otherwise
    ParameterType parameterType;  ///< of a parameter
};
/// None when the scheme gives no object this id.
std::optional<ObjectName> GetObjectName(unsigned long id);

/// The internal value type and subtype (numbers of `ZANVALUE`, as decimal text) of the values of a data-point main
/// type; those of the value without content for an unknown one.
std::string GetIvtFromMainType(unsigned long mainType);
std::string GetIstFromMainType(unsigned long mainType);

/// The value that a data point of type `dpt` has before anybody wrote one: serialised when `internal` is set, as plain
/// text otherwise. None for an unknown main type.
std::optional<std::string> GetDefaultValueFromDpt(unsigned long dpt, bool internal);

}  // namespace KnxOdsMapping
}  // namespace Zandrel
