#include "Interface.h"

#include <boost/algorithm/string/replace.hpp>
#include <boost/core/demangle.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <sstream>
#include <typeinfo>

#include "KnxStack/IApiHub.h"
#include "KnxStack/IApplicationProgram.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IGroupValueUser.h"
#include "KnxStack/IInterfaceObjectSimplePropertyUser.h"
#include "KnxStack/IMemory.h"
#include "KnxStack/IPropertyService.h"
#include "Ostra/IDeviceStackClient.h"
#include "Zandrel/AppHostConfiguration.h"
#include "Zandrel/DscAsyncRequestMessenger.h"
#include "Zandrel/EncodedString.h"
#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/KnxOdsMapping.h"
#include "Zandrel/Logging.h"
#include "Zandrel/OrnIpcClientImpl.h"
#include "Zandrel/RequestMessengerDeviceStack.h"
#include "Zandrel/ZanValue.h"

namespace {

template <typename Type>
std::string NameOf() {
    std::string name = boost::core::demangle(typeid(Type).name());
    boost::replace_all(name, boost::core::demangle(typeid(std::string).name()), "std::string");
    return name;
}

/// The slot of a virtual function, as the C++ ABI puts it into a pointer to it.
template <typename Function>
std::size_t SlotOf(Function function) {
    struct {
        std::size_t pointer;
        std::ptrdiff_t adjustment;
    } content{};
    static_assert(sizeof(content) == sizeof(function));
    std::memcpy(&content, &function, sizeof(content));
#ifdef __arm__
    const std::size_t offset = content.pointer;  // the mark of a virtual function is in the adjustment
#else
    const std::size_t offset = content.pointer - 1;
#endif
    return offset / sizeof(void*);
}

/// Its first virtual function takes the first slot behind those of `Interface`.
template <typename Interface>
struct Behind : Interface {
    virtual void First() = 0;

protected:
    ~Behind() = default;
};

class Description {
public:
    template <typename Type>
    void Size(const char* name) {
        text_ << name << ": " << sizeof(Type) << " bytes, aligned to " << alignof(Type) << '\n';
    }

    template <typename Interface>
    void Slots(const char* name) {
        text_ << name << ": " << SlotOf(&Behind<Interface>::First) << " slots\n";
    }

    template <typename Function>
    void Slot(const char* name, Function function) {
        text_ << "    " << SlotOf(function) << ": " << name << ", " << NameOf<Function>() << '\n';
    }

    /// A function with its result, which its symbol does not tell.
    template <typename Result, typename... Parameters>
    void Function(const char* name, Result (* /*function*/)(Parameters...)) {
        text_ << name << ": " << NameOf<Result(Parameters...)>() << '\n';
    }

    std::string Text() const { return text_.str(); }

private:
    std::ostringstream text_;
};

#define ORN_SIZE(type) description.Size<type>(#type)

void DescribeTypes(Description& description) {
    ORN_SIZE(int);
    ORN_SIZE(unsigned long);
    ORN_SIZE(std::size_t);
    ORN_SIZE(std::time_t);
    ORN_SIZE(std::string);
    ORN_SIZE(boost::posix_time::time_duration);
    ORN_SIZE(std::optional<unsigned long>);
    ORN_SIZE(KnxStack::BinaryData);
    ORN_SIZE(KnxStack::GroupValue);
    ORN_SIZE(Ostra::IDeviceStackClient::Property);
    ORN_SIZE(Ostra::IDeviceStackClient::PropertyType);
    ORN_SIZE(Zandrel::AppHostConfiguration);
    ORN_SIZE(Zandrel::Docket);
    ORN_SIZE(Zandrel::DscAsyncRequestMessenger);
    ORN_SIZE(Zandrel::KnxOdsMapping::ObjectName);
    ORN_SIZE(Zandrel::KnxStyleString);
    ORN_SIZE(Zandrel::OrnIpcClientImpl);
    ORN_SIZE(Zandrel::PrettyFunctionNamePrinter);
    ORN_SIZE(Zandrel::RemoteRequestMessengerDeviceStack);
    ORN_SIZE(Zandrel::ZANVALUE);
    ORN_SIZE(std::optional<Zandrel::ZANVALUE>);
}

#define ORN_FUNCTION(function) description.Function(#function, &Zandrel::function)

void DescribeFunctions(Description& description) {
    ORN_FUNCTION(KnxOdsMapping::GetKnxDeviceObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetLogicalKnxDeviceObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetOdsKnxDeviceChannelObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetCoChannelObjModelId);
    description.Function<std::optional<unsigned long>, unsigned long>("KnxOdsMapping::GetCoValueObjModelId",
                                                                      &Zandrel::KnxOdsMapping::GetCoValueObjModelId);
    description.Function<std::optional<unsigned long>, std::uint16_t, int>(
        "KnxOdsMapping::GetCoValueObjModelId", &Zandrel::KnxOdsMapping::GetCoValueObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetCoNumberFromObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetParameterChannelObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetParameterValueObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetAppHostAppControlChannelObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetAppHostAppControlStateObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetAppHostAppControlEventObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetAppHostAppControlAliveObjModelId);
    ORN_FUNCTION(KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId);
    ORN_FUNCTION(KnxOdsMapping::IsAppHostAppControlState);
    ORN_FUNCTION(KnxOdsMapping::IsAppHostAppControlAliveHeartbeat);
    ORN_FUNCTION(KnxOdsMapping::IsAppHostAppControlAppDebug);
    ORN_FUNCTION(KnxOdsMapping::GetIvtFromMainType);
    ORN_FUNCTION(KnxOdsMapping::GetIstFromMainType);
    ORN_FUNCTION(KnxOdsMapping::GetDefaultValueFromDpt);
    ORN_FUNCTION(GroupValueToZanValue);
    ORN_FUNCTION(ZanValueToGroupValue);
}

#define ORN_SLOTS(type) description.Slots<type>(#type)
#define ORN_SLOT(type, function) description.Slot(#function, &type::function)

void DescribeKnxStack(Description& description) {
    ORN_SLOTS(KnxStack::IApplicationProgram);
    ORN_SLOT(KnxStack::IApplicationProgram, Init);
    ORN_SLOT(KnxStack::IApplicationProgram, OnDeviceRestart);
    ORN_SLOT(KnxStack::IApplicationProgram, Exit);
    ORN_SLOTS(KnxStack::IApiHub);
    ORN_SLOT(KnxStack::IApiHub, GetGroupValueService);
    ORN_SLOT(KnxStack::IApiHub, GetPropertyService);
    ORN_SLOT(KnxStack::IApiHub, GetApplicationPrg1Memory);
    ORN_SLOT(KnxStack::IApiHub, SetRunState);
    ORN_SLOTS(KnxStack::IGroupObject);
    ORN_SLOT(KnxStack::IGroupObject, MayBeWritten);
    ORN_SLOTS(KnxStack::IGroupValueService);
    ORN_SLOT(KnxStack::IGroupValueService, GetGroupObject);
    ORN_SLOT(KnxStack::IGroupValueService, RegisterUser);
    ORN_SLOT(KnxStack::IGroupValueService, UnregisterUser);
    ORN_SLOT(KnxStack::IGroupValueService, WriteValue);
    ORN_SLOTS(KnxStack::IGroupValueUser);
    ORN_SLOT(KnxStack::IGroupValueUser, OnGroupValueWrite);
    ORN_SLOT(KnxStack::IGroupValueUser, OnGroupValueResponse);
    ORN_SLOT(KnxStack::IGroupValueUser, OnGroupValueRead);
    ORN_SLOTS(KnxStack::IInterfaceObject);
    ORN_SLOT(KnxStack::IInterfaceObject, GetProperty);
    ORN_SLOT(KnxStack::IInterfaceObject, CreateUserProperty);
    ORN_SLOT(KnxStack::IInterfaceObject, CreateProperty);
    ORN_SLOTS(KnxStack::IInterfaceObjectSimplePropertyUser);
    ORN_SLOT(KnxStack::IInterfaceObjectSimplePropertyUser, OnPropertyRead);
    ORN_SLOT(KnxStack::IInterfaceObjectSimplePropertyUser, OnPropertyWrite);
    ORN_SLOTS(KnxStack::IMemory);
    ORN_SLOT(KnxStack::IMemory, GetContent);
    ORN_SLOTS(KnxStack::IProperty);
    ORN_SLOT(KnxStack::IProperty, GetElementCount);
    ORN_SLOT(KnxStack::IProperty, ReadElements);
    ORN_SLOT(KnxStack::IProperty, Enable);
    ORN_SLOTS(KnxStack::IPropertyService);
    ORN_SLOT(KnxStack::IPropertyService, GetInterfaceObject);
    ORN_SLOT(KnxStack::IPropertyService, UnregisterUser);
}

void DescribeDeviceStack(Description& description) {
    ORN_SLOTS(Ostra::IDeviceStackClient);
    ORN_SLOT(Ostra::IDeviceStackClient, SetEventHandler);
    ORN_SLOT(Ostra::IDeviceStackClient, SetResponseHandler);
    ORN_SLOT(Ostra::IDeviceStackClient, Send);
    ORN_SLOT(Ostra::IDeviceStackClient, SendAtEveryConnect);
    ORN_SLOTS(Ostra::IDeviceStackClient::IEventHandler);
    ORN_SLOT(Ostra::IDeviceStackClient::IEventHandler, OnValueChanged);
    ORN_SLOT(Ostra::IDeviceStackClient::IEventHandler, OnConfigurationChanged);
    ORN_SLOT(Ostra::IDeviceStackClient::IEventHandler, OnEventEmitted);
    ORN_SLOT(Ostra::IDeviceStackClient::IEventHandler, OnConnectionChanged);
    ORN_SLOTS(Ostra::IDeviceStackClient::IResponseHandler);
    ORN_SLOT(Ostra::IDeviceStackClient::IResponseHandler, OnResponse);
    ORN_SLOT(Ostra::IDeviceStackClient::IResponseHandler, OnConnectionLost);
    ORN_SLOTS(Zandrel::RequestMessengerDeviceStack);
    ORN_SLOT(Zandrel::RequestMessengerDeviceStack, Send);
    ORN_SLOT(Zandrel::RequestMessengerDeviceStack, SendAtEveryConnect);
    ORN_SLOT(Zandrel::RequestMessengerDeviceStack, SetResponseHandler);
}

}  // namespace

std::string DescribeInterface() {
    Description description;
    DescribeTypes(description);
    DescribeFunctions(description);
    DescribeKnxStack(description);
    DescribeDeviceStack(description);
    return description.Text();
}
