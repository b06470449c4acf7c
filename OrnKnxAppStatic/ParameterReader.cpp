#include "ParameterReader.h"

#include <algorithm>
#include <boost/asio/ip/address_v4.hpp>
#include <utility>

#include "DptTable.h"
#include "InterfaceObjects.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IMemory.h"
#include "KnxStack/IPropertyService.h"
#include "PropertyReading.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"
#include "Zandrel/KnxOdsMapping.h"
#include "Zandrel/OrnKnxHelper.h"

namespace Zandrel {

namespace {

/// A text parameter's share of the application's memory.
constexpr std::size_t TextParameterSize = 128;

/// A larger data-point type has a main number.
constexpr std::uint32_t LargestDptWithoutMainNumber = 0xFFFF;

/// The elements of the display settings and app type.
constexpr std::uint32_t DisplayTextSpeedElement = 0;
constexpr std::uint32_t DisplayTextWrappingElement = 1;
constexpr std::uint32_t AppTypeElement = 2;

std::string DottedQuad(std::uint32_t address) {
    return boost::asio::ip::address_v4(address).to_string();
}

std::string Decimal(std::uint32_t number) {
    return std::to_string(number);
}

/// An additional individual address: stacks keep it in 2 bytes, as the KNX standard has it, or in 4.
std::optional<std::uint32_t> ReadAdditionalAddress(const KnxStack::IProperty* property, std::uint32_t index) {
    const auto data = ReadElement(property, index, sizeof(std::uint16_t));
    if (!data) {
        return std::nullopt;
    }
    return data->GetSize() < sizeof(std::uint32_t) ? data->GetUInt16Value(0) : data->GetUInt32Value(0);
}

}  // namespace

/// How one of the two kinds of parameters is read that are numbers of 32 bits.
struct ParameterReader::NumericParameters {
    const char* caller;  ///< in whose name failures are logged
    const char* name;
    std::uint16_t propertyId;
    ParameterType type;
    std::string (*toText)(std::uint32_t);
};

ParameterReader::ParameterReader(PrefixedLogger log, std::shared_ptr<AppIdentity> identity, const StackAccess& stack,
                                 DptTable& dpts, TickerThreadManager& tickers)
    : log_(std::move(log)), identity_(std::move(identity)), stack_(stack), dpts_(dpts), tickers_(tickers) {}

bool ParameterReader::InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    identity_->SetLogicalDeviceId(logicalDevice);
    if (stack_.Use()->groupValueService == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to GroupValueService is nullptr!");
        return false;
    }
    if (!InitializeFriendlyNameAndIndividualAddresses() || !InitializeAppId()) {
        return false;
    }
    if (stack_.Use()->appPrg1Memory == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to AppPrg1Memory is nullptr!");
        return false;
    }
    return InitializeCoMap(logicalDevice, configuration) && InitializeTextParameterMap(logicalDevice, configuration) &&
           InitializeIpParameterMap(logicalDevice, configuration) &&
           InitializeNumberParameterMap(logicalDevice, configuration) &&
           InitializeCommunicationFlagsOfCosInMap(configuration) && InitializeDisplaySettingsAndAppType();
}

bool ParameterReader::InitializeFriendlyNameAndIndividualAddresses() {
    const auto stack = stack_.Use();
    KnxStack::IInterfaceObject* const ipParameters =
        stack->propertyService == nullptr
            ? nullptr
            : stack->propertyService->GetInterfaceObject(ObjectType::IpParameters, ObjectInstance::Any);
    if (ipParameters == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to IpParameterProperties is nullptr!");
        return false;
    }
    std::uint32_t count = 0;

    const KnxStack::IProperty* const nameProperty = ipParameters->GetProperty(PropertyId::FriendlyName);
    if (nameProperty == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to FriendlyNameProperty is nullptr!");
        return false;
    }
    if (!nameProperty->GetElementCount(count)) {
        ORN_LOG(log_, ERROR, "Failed to get FriendlyNameProperty!");
        return false;
    }
    auto friendlyName = ReadText(nameProperty, count);
    if (!friendlyName) {
        ORN_LOG(log_, ERROR, "Failed to get friendly name!");
        return false;
    }
    friendlyName_ = std::move(*friendlyName);
    ORN_LOG(log_, DEBUG, "Friendly name: " << friendlyName_);

    const KnxStack::IProperty* const addressProperty = ipParameters->GetProperty(PropertyId::IndividualAddress);
    if (addressProperty == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to KnxIndividualAddressProperty is nullptr!");
        return false;
    }
    if (!addressProperty->GetElementCount(count)) {
        ORN_LOG(log_, ERROR, "Failed to get KnxIndividualAddressProperty!");
        return false;
    }
    const auto address = ReadUInt16(addressProperty, 0);
    if (!address) {
        ORN_LOG(log_, ERROR, "Failed to get knx individual address!");
        return false;
    }
    individualAddress_ = OrnKnxHelper::DecodeIndividualAddressToString(*address).GetBytes();
    ORN_LOG(log_, DEBUG, "Individual address: " << individualAddress_);

    return ReadAdditionalIndividualAddresses(*ipParameters);
}

bool ParameterReader::ReadAdditionalIndividualAddresses(KnxStack::IInterfaceObject& ipParameters) {
    static constexpr const char* Caller = "InitializeFriendlyNameAndIndividualAddresses";
    additionalIndividualAddresses_.clear();
    const KnxStack::IProperty* const property = ipParameters.GetProperty(PropertyId::AdditionalIndividualAddresses);
    if (property == nullptr) {
        ORN_LOG_AS(Caller, log_, DEBUG,
                   "Pointer to AdditionalIndividualAddressesProperty is nullptr. No additional individual addresses "
                   "available.");
        return true;
    }
    std::uint32_t count = 0;
    if (!property->GetElementCount(count)) {
        ORN_LOG_AS(Caller, log_, ERROR, "Failed to get AdditionalIndividualAddressesProperty!");
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto address = ReadAdditionalAddress(property, i);
        if (!address) {
            ORN_LOG_AS(Caller, log_, ERROR, "Failed to get additional individual addresses!");
            return false;
        }
        const auto& added =
            additionalIndividualAddresses_.emplace_back(OrnKnxHelper::DecodeIndividualAddressToString(*address));
        ORN_LOG_AS(Caller, log_, DEBUG, "Additional individual address: " << added.GetBytes());
    }
    return true;
}

bool ParameterReader::InitializeAppId() {
    const auto stack = stack_.Use();
    if (stack->parameterProperties == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to ParameterProperties is nullptr!");
        return false;
    }
    const KnxStack::IProperty* const property = stack->parameterProperties->GetProperty(PropertyId::AppId);
    if (property == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to PropertyID " << PropertyId::AppId << " is nullptr!");
        return false;
    }
    std::uint32_t count = 0;
    if (!property->GetElementCount(count)) {
        ORN_LOG(log_, ERROR, "No app ID set!");
        return false;
    }
    auto appId = ReadText(property, count);
    if (!appId) {
        ORN_LOG(log_, ERROR, "Failed to get app ID!");
        return false;
    }
    identity_->SetAppId(std::move(*appId));
    return true;
}

bool ParameterReader::InitializeCoMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    const bool isRead = ReadCos(logicalDevice, configuration);
    // Without a lease: a ticker needs one to come to its end.
    tickers_.Stop([this](std::uint16_t co) { return !dpts_.TakesTexts(co); });
    return isRead;
}

bool ParameterReader::ReadCos(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    const auto stack = stack_.Use();
    const KnxStack::IProperty* const dpts = FindProperty(stack->parameterProperties, PropertyId::Dpts);
    configuration.cos.assign(MaxCoNumber + 1, {});
    for (std::uint16_t number = 1; number <= MaxCoNumber; ++number) {
        const auto channelId = KnxOdsMapping::GetCoChannelObjModelId(number, logicalDevice.Value());
        if (!channelId) {
            ORN_LOG_AS(
                "InitializeCoMap", log_, ERROR,
                "Could not determine channel id for CO " << number << ", logical device " << logicalDevice.Value());
            return false;
        }
        const KnxStack::IGroupObject* const groupObject =
            stack->groupValueService == nullptr ? nullptr : stack->groupValueService->GetGroupObject(number);
        const std::uint32_t dpt = ReadUInt32(dpts, number - 1U).value_or(0);
        dpts_.Set(number, dpt);

        CoChannelAttr& co = configuration.cos[number];
        co.valid = dpt > LargestDptWithoutMainNumber;
        co.mayBeWritten = groupObject != nullptr && groupObject->MayBeWritten();
        co.number = number;
        co.channelId = *channelId;
        co.name = "Co" + std::to_string(number);
        co.dpt = dpt;
    }
    return true;
}

bool ParameterReader::InitializeTextParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    KnxStack::BinaryData content;
    if (const auto stack = stack_.Use(); stack->appPrg1Memory != nullptr) {
        content = stack->appPrg1Memory->GetContent();
    }
    configuration.textParameters.assign(ParameterSlots, {});
    for (std::uint16_t slot = 1; slot <= ParameterSlots; ++slot) {
        const auto id = KnxOdsMapping::GetParameterChannelObjModelId(slot, logicalDevice.Value(), ParameterType::Text);
        if (!id) {
            return false;
        }
        const std::size_t offset = (slot - 1U) * TextParameterSize;
        if (offset > content.GetSize()) {
            ORN_LOG(log_, ERROR,
                    "AppPrg1 memory of " << content.GetSize() << " bytes ends before text parameter " << slot);
            return false;
        }
        configuration.textParameters[slot - 1U] = {true, *id, content.GetStringValue(offset), {}, ParameterType::Text};
    }
    return true;
}

bool ParameterReader::InitializeIpParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    return ReadNumericParameters(
        {static_cast<const char*>(__func__), "IP parameter", PropertyId::IpParameters, ParameterType::Ip, &DottedQuad},
        logicalDevice, configuration.ipParameters);
}

bool ParameterReader::InitializeNumberParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    return ReadNumericParameters({static_cast<const char*>(__func__), "number parameter", PropertyId::NumberParameters,
                                  ParameterType::Number, &Decimal},
                                 logicalDevice, configuration.numberParameters);
}

bool ParameterReader::ReadNumericParameters(const NumericParameters& kind, LogicalDeviceId logicalDevice,
                                            std::vector<ParamAttr>& parameters) const {
    const auto stack = stack_.Use();
    if (stack->parameterProperties == nullptr) {
        ORN_LOG_AS(kind.caller, log_, ERROR, "Pointer to ParameterProperties is nullptr!");
        return false;
    }
    const KnxStack::IProperty* const property = stack->parameterProperties->GetProperty(kind.propertyId);
    if (property == nullptr) {
        ORN_LOG_AS(kind.caller, log_, ERROR, "Pointer to PropertyID " << kind.propertyId << " is nullptr!");
        return false;
    }
    std::uint32_t count = 0;
    if (!property->GetElementCount(count)) {
        ORN_LOG_AS(kind.caller, log_, ERROR, "Failed to get count of " << kind.name);
        return false;
    }
    parameters.assign(ParameterSlots, {});
    for (std::uint16_t i = 0; i < ParameterSlots; ++i) {
        const auto id = KnxOdsMapping::GetParameterChannelObjModelId(static_cast<std::uint16_t>(i + 1),
                                                                     logicalDevice.Value(), kind.type);
        if (!id) {
            ORN_LOG_AS(
                kind.caller, log_, ERROR,
                "Could not get " << kind.name << " id: slot " << i << ", logical device " << logicalDevice.Value());
            return false;
        }
        const auto value = i < count ? ReadUInt32(property, i) : std::optional<std::uint32_t>(0);
        if (!value) {
            ORN_LOG_AS(kind.caller, log_, ERROR, "Failed to get value of " << kind.name << " slot " << i);
            return false;
        }
        parameters[i] = {true, *id, kind.toText(*value), {}, kind.type};
    }
    return true;
}

bool ParameterReader::InitializeCommunicationFlagsOfCosInMap(KnxConfiguration& configuration) {
    const auto stack = stack_.Use();
    const KnxStack::IProperty* const property =
        FindProperty(stack->parameterProperties, PropertyId::CommunicationFlags);
    if (property == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to PropertyID " << PropertyId::CommunicationFlags << " is nullptr!");
        return false;
    }
    std::uint32_t count = 0;
    if (!property->GetElementCount(count)) {
        return false;
    }
    const auto end = std::min<std::size_t>(count + std::size_t{1}, configuration.cos.size());
    for (std::size_t number = 1; number < end; ++number) {
        CoChannelAttr& co = configuration.cos[number];
        if (!co.valid) {
            continue;
        }
        const auto flag = ReadUInt32(property, static_cast<std::uint32_t>(number - 1));
        if (!flag) {
            return false;
        }
        co.communicationFlag = *flag == 1;
    }
    return true;
}

bool ParameterReader::InitializeDisplaySettingsAndAppType() {
    // The tickers are called without a lease: what they write needs one.
    const auto read = [this](std::uint32_t element) {
        const auto stack = stack_.Use();
        return ReadUInt8(FindProperty(stack->parameterProperties, PropertyId::DisplaySettingsAndAppType), element);
    };
    if (FindProperty(stack_.Use()->parameterProperties, PropertyId::DisplaySettingsAndAppType) == nullptr) {
        ORN_LOG(log_, ERROR, "Pointer to PropertyID " << PropertyId::DisplaySettingsAndAppType << " is nullptr!");
        return false;
    }
    const auto wrapping = read(DisplayTextWrappingElement);
    if (!wrapping) {
        ORN_LOG(log_, ERROR, "Failed to get display text wrapping parameter!");
        return false;
    }
    tickers_.SetWrapping(*wrapping);
    const auto speed = read(DisplayTextSpeedElement);
    if (!speed) {
        ORN_LOG(log_, ERROR, "Failed to get display text speed parameter!");
        return false;
    }
    tickers_.SetSpeed(*speed);
    const auto appType = read(AppTypeElement);
    if (!appType) {
        ORN_LOG(log_, ERROR, "Failed to get app type parameter!");
        return false;
    }
    identity_->SetAppType(*appType);
    return true;
}

}  // namespace Zandrel
