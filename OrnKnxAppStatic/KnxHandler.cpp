#include "KnxHandler.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/hex.hpp>
#include <boost/thread/thread_only.hpp>
#include <iterator>
#include <utility>

#include "ContainExceptions.h"
#include "InterfaceObjects.h"
#include "KnxStack/IApiHub.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IMemory.h"
#include "KnxStack/IPropertyService.h"
#include "PropertyReading.h"

namespace Zandrel {

namespace {

constexpr const char* InitName = "Init";

/// Serial number and hardware type have this many bytes.
constexpr std::size_t DeviceNumberSize = 6;

/// A property of the application's own object, as the stack creates it.
struct PropertyDescription {
    std::uint16_t id;
    int dataType;
    int maxElements;
    int writeEnable;
    int readEnable;
};

constexpr std::array<PropertyDescription, 6> ApplicationProperties{{
    {PropertyId::Dpts, 9, 520, 0, 1},
    {PropertyId::IpParameters, 9, 64, 0, 1},
    {PropertyId::NumberParameters, 8, 64, 0, 1},
    {PropertyId::CommunicationFlags, 9, 520, 0, 1},
    {PropertyId::DisplaySettingsAndAppType, 2, 3, 0, 1},
    {PropertyId::AppId, 1, 64, 0, 1},
}};

/// What has to be loaded, in the order in which it is checked.
constexpr std::array<std::uint16_t, 5> LoadableObjects{ObjectType::AddressTable, ObjectType::AssociationTable,
                                                       ObjectType::ApplicationProgram, ObjectType::GroupObjectTable,
                                                       ObjectType::OwnApplication};

bool IsLoadStateControl(std::uint16_t objectType, std::uint16_t propertyId) {
    return objectType == ObjectType::OwnApplication && propertyId == PropertyId::LoadStateControl;
}

/// The bus numbers group objects with 16 bits.
std::uint16_t ToCo(std::uint32_t groupObject) {
    return static_cast<std::uint16_t>(groupObject);
}

std::uint32_t UInt24(const KnxStack::BinaryData& data, std::size_t offset) {
    return (static_cast<std::uint32_t>(data.GetUInt16Value(offset)) << 8U) | data.GetUInt8Value(offset + 2);
}

}  // namespace

KnxHandler::KnxHandler(const log4cplus::Logger& logger, const std::shared_ptr<AppIdentity>& identity,
                       std::shared_ptr<Clock> clock)
    : log_(logger, identity),
      writer_(stack_, dpts_),
      tickers_(
          logger, [this](std::uint16_t co, const KnxStyleString& text) { return writer_.WriteText(co, text); },
          std::move(clock)),
      bridge_(log_, identity, dpts_, writer_, tickers_),
      parameters_(log_, identity, stack_, dpts_, tickers_) {}

KnxHandler::~KnxHandler() {
    Detach();
}

bool KnxHandler::OnGroupValueWrite(std::uint32_t groupObject, const KnxStack::GroupValue& value) {
    return ContainExceptions(log_, static_cast<const char*>(__func__),
                             [&] { return bridge_.UpdateCoValue(ToCo(groupObject), value, false); });
}

bool KnxHandler::OnGroupValueResponse(std::uint32_t groupObject, const KnxStack::GroupValue& value) {
    return ContainExceptions(log_, static_cast<const char*>(__func__),
                             [&] { return bridge_.UpdateCoValue(ToCo(groupObject), value, true); });
}

bool KnxHandler::OnGroupValueRead(std::uint32_t groupObject, KnxStack::GroupValue& value, bool /*initial*/) {
    return ContainExceptions(log_, static_cast<const char*>(__func__),
                             [&] { return bridge_.OnGroupValueRead(ToCo(groupObject), value); });
}

bool KnxHandler::OnPropertyRead(std::uint16_t objectType, std::uint16_t propertyId, KnxStack::BinaryData& data) {
    if (!IsLoadStateControl(objectType, propertyId)) {
        return false;
    }
    return ContainExceptions(log_, static_cast<const char*>(__func__), [&] {
        data = KnxStack::BinaryData({static_cast<std::uint8_t>(loadState_.GetState())});
        return true;
    });
}

bool KnxHandler::OnPropertyWrite(std::uint16_t objectType, std::uint16_t propertyId, const KnxStack::BinaryData& data) {
    if (!IsLoadStateControl(objectType, propertyId)) {
        return false;
    }
    ContainExceptions(log_, static_cast<const char*>(__func__), [&] {
        if (data.GetSize() == 0) {
            ORN_LOG_AS("OnPropertyWrite", log_, ERROR, "Ignoring a load event without an event code");
            return false;
        }
        loadState_.OnEvent(data.GetUInt8Value(0));
        return true;
    });
    return true;  // whatever was written: the stack must not take it for its own
}

bool KnxHandler::Init(KnxStack::IApiHub& hub) {
    return ContainExceptions(log_, InitName, [&] {
        return RegisterWithStack(hub) && CreateProperties() && ReadSerialNumber() && ReadHardwareType();
    });
}

bool KnxHandler::RegisterWithStack(KnxStack::IApiHub& hub) {
    loadState_.ClearChanged();
    StackObjects stack;
    stack.groupValueService = hub.GetGroupValueService();
    stack.propertyService = hub.GetPropertyService();
    stack_.Attach(stack);
    if (stack.groupValueService == nullptr) {
        return false;
    }
    stack.groupValueService->RegisterUser(*this);
    return stack.propertyService != nullptr;
}

// The set-up touches the stack without a lease: it runs before anybody else does, and enabling the load state control
// calls back.

bool KnxHandler::CreateProperties() {
    KnxStack::IPropertyService& properties = *stack_.Use()->propertyService;
    KnxStack::IInterfaceObject* const application =
        properties.GetInterfaceObject(ObjectType::OwnApplication, ObjectInstance::First);
    if (application == nullptr) {
        ORN_LOG_AS(InitName, log_, ERROR, "The stack has no interface object of type " << ObjectType::OwnApplication);
        return false;
    }
    stack_.Change()->parameterProperties = application;

    const auto enable = [this](KnxStack::IProperty* property, std::uint16_t id) {
        if (property == nullptr) {
            ORN_LOG_AS(InitName, log_, ERROR, "Failed to create property " << id);
            return false;
        }
        property->Enable(1);
        return true;
    };
    return enable(application->CreateUserProperty(PropertyId::LoadStateControl, *this), PropertyId::LoadStateControl) &&
           std::all_of(ApplicationProperties.begin(), ApplicationProperties.end(), [&](const auto& property) {
               return enable(application->CreateProperty(property.id, property.dataType, property.maxElements,
                                                         property.writeEnable, property.readEnable),
                             property.id);
           });
}

std::optional<KnxStack::BinaryData> KnxHandler::ReadDeviceNumber(std::uint16_t propertyId, const char* what) {
    KnxStack::IPropertyService& properties = *stack_.Use()->propertyService;
    const KnxStack::IProperty* const property =
        FindProperty(properties.GetInterfaceObject(ObjectType::Device, ObjectInstance::First), propertyId);
    if (property == nullptr) {
        ORN_LOG_AS(InitName, log_, ERROR, "Failed to retrieve " << what << ": Property missing");
        return std::nullopt;
    }
    auto data = ReadElement(property, 0, DeviceNumberSize);
    if (!data) {
        ORN_LOG_AS(InitName, log_, ERROR, "Failed to retrieve " << what << ": GetValue");
    }
    return data;
}

bool KnxHandler::ReadSerialNumber() {
    const auto data = ReadDeviceNumber(PropertyId::SerialNumber, "serial number");
    if (!data) {
        return false;
    }
    serialNumber_.clear();
    boost::algorithm::hex_lower(data->GetBytes().begin(), data->GetBytes().begin() + DeviceNumberSize,
                                std::back_inserter(serialNumber_));
    return true;
}

bool KnxHandler::ReadHardwareType() {
    const auto data = ReadDeviceNumber(PropertyId::HardwareType, "hardware type");
    if (!data) {
        return false;
    }
    hardwareType_ = {UInt24(*data, 0), UInt24(*data, 3)};
    return true;
}

void KnxHandler::Detach() noexcept {
    // The stack may wait for callbacks that run, and has to come to its end also on a thread that was interrupted.
    const boost::this_thread::disable_interruption uninterrupted;
    ContainExceptions(log_, static_cast<const char*>(__func__), [this] {
        open_ = false;
        tickers_.Close();
        const StackObjects stack = stack_.Detach();
        if (stack.propertyService != nullptr && !stack.propertyService->UnregisterUser(*this)) {
            ORN_LOG_AS("~KnxHandler", log_, WARN, "Failed to unregister from property service.");
        }
        if (stack.groupValueService != nullptr) {
            stack.groupValueService->UnregisterUser(*this);
        }
        return true;
    });
}

bool KnxHandler::InitApplicationProgram1Memory(KnxStack::IApiHub& hub) {
    return ContainExceptions(log_, static_cast<const char*>(__func__), [&] {
        static constexpr const char* Caller = "InitApplicationProgram1Memory";
        const auto stack = stack_.Change();
        if (stack->appPrg1Memory != nullptr) {
            ORN_LOG_AS(Caller, log_, ERROR, "ApplicationPrg1 memory already initialzed.");
            return false;
        }
        const bool detached = stack->propertyService == nullptr;
        stack->appPrg1Memory = detached ? nullptr : hub.GetApplicationPrg1Memory();
        if (stack->appPrg1Memory == nullptr) {
            ORN_LOG_AS(Caller, log_, FATAL, "Retrieving ApplicationPrg1 memory failed.");
            return false;
        }
        return true;
    });
}

void KnxHandler::ResetApplicationProgram1Memory() {
    stack_.Change()->appPrg1Memory = nullptr;
}

bool KnxHandler::IsLoadStateMachineLoaded() {
    return std::all_of(LoadableObjects.begin(), LoadableObjects.end(),
                       [this](std::uint16_t objectType) { return IsLoadStateMachineLoaded(objectType); });
}

bool KnxHandler::IsLoadStateMachineLoaded(std::uint16_t objectType) {
    return ContainExceptions(log_, static_cast<const char*>(__func__), [&] {
        const auto stack = stack_.Use();
        if (stack->propertyService == nullptr) {
            ORN_LOG_AS("IsLoadStateMachineLoaded", log_, ERROR, "Property service to knxstack not initialized!");
            return false;
        }
        KnxStack::IInterfaceObject* const object =
            stack->propertyService->GetInterfaceObject(objectType, ObjectInstance::First);
        const auto state = ReadUInt8(FindProperty(object, PropertyId::LoadStateControl), 0);
        return state == static_cast<std::uint8_t>(LoadState::Loaded);
    });
}

bool KnxHandler::InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    return ContainExceptions(log_, static_cast<const char*>(__func__),
                             [&] { return parameters_.InitObjectModel(logicalDevice, configuration); });
}

void KnxHandler::SetMessengers(SetValueFunction setValue, GetValueFunction getValue) {
    bridge_.SetMessengers(std::move(setValue), std::move(getValue));
}

bool KnxHandler::WriteValue(unsigned long id, const ZANVALUE& value) {
    return open_ &&
           ContainExceptions(log_, static_cast<const char*>(__func__), [&] { return bridge_.WriteValue(id, value); });
}

void KnxHandler::StopTickers() {
    tickers_.Terminate();
    tickers_.Close();  // with what began meanwhile
}

void KnxHandler::Close() {
    open_ = false;
    StopTickers();
}

void KnxHandler::Open() {
    open_ = true;
    tickers_.Open();
}

}  // namespace Zandrel
