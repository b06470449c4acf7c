#include "Interface.h"

#include <boost/algorithm/hex.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/core/demangle.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <optional>
#include <sstream>
#include <type_traits>
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
#include "Zandrel/OrnKnxHelper.h"
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
    ~Behind() = default;  // NOLINT(modernize-use-override): not every interface has a virtual one
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

    template <typename Enum>
    void Enumerator(const char* name, Enum value) {
        text_ << "    " << static_cast<std::underlying_type_t<Enum>>(value) << ": " << name << '\n';
    }

    /// A function with its result, which its symbol does not tell.
    template <typename Result, typename... Parameters>
    void Function(const char* name, Result (* /*function*/)(Parameters...)) {
        text_ << name << ": " << NameOf<Result(Parameters...)>() << '\n';
    }

    /// The same for a member of a class.
    template <typename Type, typename Class>
    void Function(const char* name, Type Class::* /*function*/) {
        text_ << name << ": " << NameOf<Type Class::*>() << '\n';
    }

    /// How a value lies in memory: type and subtype, the first `size` bytes of its content, and which of the
    /// alternatives that is. Padding has no meaning.
    void Layout(const char* name, const Zandrel::ZANVALUE& value, std::size_t size) {
        constexpr std::size_t Alignment = alignof(Zandrel::ZANVALUE);
        text_ << "    " << name << ':';
        Bytes(value, 0, sizeof(value.GetType()) + sizeof(value.GetSubtype()));
        Bytes(value, Alignment, size);
        Bytes(value, sizeof(value) - Alignment, 1);
        text_ << '\n';
    }

    std::string Text() const { return text_.str(); }

private:
    void Bytes(const Zandrel::ZANVALUE& value, std::size_t offset, std::size_t size) {
        const std::string bytes(reinterpret_cast<const char*>(&value) + offset, size);
        text_ << ' ' << boost::algorithm::hex_lower(bytes);
    }

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
    ORN_SIZE(Zandrel::AppHostConfiguration);
    ORN_SIZE(Zandrel::Docket);
    ORN_SIZE(Zandrel::DscAsyncRequestMessenger);
    ORN_SIZE(Zandrel::KnxOdsMapping::ObjectName);
    ORN_SIZE(Zandrel::KnxStyleString);
    ORN_SIZE(Zandrel::OrnIpcClientImpl);
    ORN_SIZE(Zandrel::PrettyFunctionNamePrinter);
    ORN_SIZE(Zandrel::RemoteRequestMessengerDeviceStack);
}

#define ORN_ENUMERATOR(type, name) description.Enumerator(#name, type::name)

void DescribeEnumerations(Description& description) {
    ORN_SIZE(Ostra::IDeviceStackClient::PropertyType);
    ORN_ENUMERATOR(Ostra::IDeviceStackClient::PropertyType, Name);
    ORN_ENUMERATOR(Ostra::IDeviceStackClient::PropertyType, Enabled);
    ORN_ENUMERATOR(Ostra::IDeviceStackClient::PropertyType, Visible);
    ORN_SIZE(Zandrel::ParameterType);
    ORN_ENUMERATOR(Zandrel::ParameterType, Ip);
    ORN_ENUMERATOR(Zandrel::ParameterType, Number);
    ORN_ENUMERATOR(Zandrel::ParameterType, Text);
    ORN_SIZE(Zandrel::ZANVALUE::Type);
    ORN_ENUMERATOR(Zandrel::ZANVALUE::Type, None);
    ORN_ENUMERATOR(Zandrel::ZANVALUE::Type, Boolean);
    ORN_ENUMERATOR(Zandrel::ZANVALUE::Type, Integer);
    ORN_ENUMERATOR(Zandrel::ZANVALUE::Type, Float);
    ORN_ENUMERATOR(Zandrel::ZANVALUE::Type, Text);
}

/// The plug-in copies, moves and destroys values without the platform: both must know their alternatives by one number.
void DescribeLayout(Description& description) {
    using Zandrel::ZANVALUE;
    ORN_SIZE(std::optional<Zandrel::ZANVALUE>);
    ORN_SIZE(Zandrel::ZANVALUE);
    description.Layout("ZANVALUE()", ZANVALUE(), 0);
    description.Layout("FromBoolean(true)", ZANVALUE::FromBoolean(true), sizeof(bool));
    description.Layout("FromInteger(42)", ZANVALUE::FromInteger(42), sizeof(std::int64_t));
    description.Layout("FromFloat(1)", ZANVALUE::FromFloat(1), sizeof(double));
    description.Layout("FromSingle(1)", ZANVALUE::FromSingle(1), sizeof(float));
    description.Layout("FromText(\"text\")", ZANVALUE::FromText("text"), 0);
}

#define ORN_FUNCTION(function) description.Function(#function, &function)
#define ORN_OVERLOADED_FUNCTION(function, ...) description.Function<__VA_ARGS__>(#function, &function)

void DescribeFunctionsOfValues(Description& description) {
    ORN_FUNCTION(KnxStack::BinaryData::GetStringValue);
    ORN_FUNCTION(KnxStack::BinaryData::GetUInt8Value);
    ORN_FUNCTION(KnxStack::BinaryData::GetUInt16Value);
    ORN_FUNCTION(KnxStack::BinaryData::GetUInt32Value);
    ORN_FUNCTION(KnxStack::GroupValue::GetFloatValue);
    ORN_FUNCTION(Zandrel::ZANVALUE::Deserialize);
    ORN_FUNCTION(Zandrel::ZANVALUE::FromInteger);
    ORN_FUNCTION(Zandrel::ZANVALUE::FromText);
    ORN_FUNCTION(Zandrel::ZANVALUE::GetBoolean);
    ORN_FUNCTION(Zandrel::ZANVALUE::GetInteger);
    ORN_FUNCTION(Zandrel::ZANVALUE::ToString);
    ORN_FUNCTION(Zandrel::GroupValueToZanValue);
    ORN_FUNCTION(Zandrel::ZanValueToGroupValue);
    ORN_FUNCTION(Zandrel::getLatin1FromUTF8Lossy);
    ORN_FUNCTION(Zandrel::getUTF8FromLatin1);
    ORN_FUNCTION(Zandrel::OrnKnxHelper::DecodeIndividualAddressToString);
}

void DescribeFunctionsOfIds(Description& description) {
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetKnxDeviceObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetLogicalKnxDeviceObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetOdsKnxDeviceChannelObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetCoChannelObjModelId);
    ORN_OVERLOADED_FUNCTION(Zandrel::KnxOdsMapping::GetCoValueObjModelId, std::optional<unsigned long>, unsigned long);
    ORN_OVERLOADED_FUNCTION(Zandrel::KnxOdsMapping::GetCoValueObjModelId, std::optional<unsigned long>, std::uint16_t,
                            int);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetCoNumberFromObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetParameterChannelObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetParameterValueObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetAppHostAppControlChannelObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetAppHostAppControlEventObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::IsAppHostAppControlState);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::IsAppHostAppControlAliveHeartbeat);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::IsAppHostAppControlAppDebug);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetIvtFromMainType);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetIstFromMainType);
    ORN_FUNCTION(Zandrel::KnxOdsMapping::GetDefaultValueFromDpt);
}

void DescribeFunctionsOfTheDeviceStack(Description& description) {
    using Zandrel::Docket;
    using Zandrel::DscAsyncRequestMessenger;
    using Properties = std::map<Ostra::IDeviceStackClient::PropertyType, Ostra::IDeviceStackClient::Property>;

    ORN_OVERLOADED_FUNCTION(Ostra::CreateDeviceStackClient, Ostra::IDeviceStackClient*);
    ORN_OVERLOADED_FUNCTION(Ostra::CreateDeviceStackClient, Ostra::IDeviceStackClient*, const std::string&);
    ORN_FUNCTION(Ostra::ReleaseDeviceStackClient);
    ORN_FUNCTION(Zandrel::Docket::IsAnswered);
    ORN_FUNCTION(Zandrel::Docket::IsReplyValid);
    ORN_FUNCTION(Zandrel::Docket::ReadDeliveryError);
    ORN_FUNCTION(Zandrel::Docket::ReadReply);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::SetAsResponseHandler);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::UnsetAsResponseHandler);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::RegisterApplication);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::EnableNativeFormat);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::Request);
    ORN_OVERLOADED_FUNCTION(Zandrel::DscAsyncRequestMessenger::SetConfiguration,
                            Docket(const std::string&, boost::posix_time::time_duration), DscAsyncRequestMessenger);
    ORN_OVERLOADED_FUNCTION(Zandrel::DscAsyncRequestMessenger::SetConfiguration,
                            Docket(unsigned long, const Properties&), DscAsyncRequestMessenger);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::SetValue);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::SetValueAndIgnoreResponse);
    ORN_FUNCTION(Zandrel::DscAsyncRequestMessenger::GetValue);
}

// Only their types: the functions are in a library that is loaded.
#define ORN_EXPORTED(function) description.Function(#function, static_cast<decltype(&(function))>(nullptr))

void DescribeExports(Description& description) {
    ORN_EXPORTED(getKnxStackApiVersion);
    ORN_EXPORTED(createApplicationProgram);
    ORN_EXPORTED(deleteApplicationProgram);
}

void DescribeOtherFunctions(Description& description) {
    ORN_FUNCTION(Zandrel::AppHostConfiguration::IsInAppDebugMode);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::ReplaceAppDebugMode);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::IsAppHostStartupDisabled);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::IsAppConnectorHostStartupDisabled);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::SetAppConnectorHostStartupDisabled);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::GetRootPathAppHost);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::GetRootPathAppConnectorHost);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::GetRootPathNativeApp);
    ORN_FUNCTION(Zandrel::AppHostConfiguration::GetRootPathManagedApp);
    ORN_FUNCTION(Zandrel::OrnIpcClientImpl::Restart);
    ORN_FUNCTION(Zandrel::OrnIpcClientImpl::SetRunLedOff);
    ORN_FUNCTION(Zandrel::SetCentralLoggerOnce);
    ORN_FUNCTION(Zandrel::GetGlobalDefaultLogger);
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
    ORN_SLOTS(Zandrel::DscAsyncRequestMessenger);
}

}  // namespace

std::string DescribeInterface() {
    Description description;
    DescribeTypes(description);
    DescribeEnumerations(description);
    DescribeLayout(description);
    DescribeExports(description);
    DescribeFunctionsOfValues(description);
    DescribeFunctionsOfIds(description);
    DescribeFunctionsOfTheDeviceStack(description);
    DescribeOtherFunctions(description);
    DescribeKnxStack(description);
    DescribeDeviceStack(description);
    return description.Text();
}
