#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppIdentity.h"
#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "GroupValueBridge.h"
#include "KnxConfiguration.h"
#include "KnxStack/IGroupValueUser.h"
#include "KnxStack/IInterfaceObjectSimplePropertyUser.h"
#include "LoadStateMachine.h"
#include "ParameterReader.h"
#include "PrefixedLogger.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"

namespace KnxStack {
class IApiHub;
}

namespace Zandrel {

/// The maker's numbers of the device's hardware, of 24 bits each.
struct HardwareType {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
};

/// The plug-in's side towards the KNX stack: its only access to it, and what it calls.
///
/// `Init`, `Detach`, `StopTickers`, `Close` and `Open` belong to the host's thread. The operations of an init cycle are
/// called with the mutex of `GetLoadState` held; so are the readers of what it read. The callbacks come from the
/// stack's threads and never wait for that mutex, but for the write of a load event, which has moved the load state
/// before it does. No exception but an interruption of the thread leaves any of them.
class KnxHandler final : public KnxStack::IGroupValueUser, public KnxStack::IInterfaceObjectSimplePropertyUser {
public:
    KnxHandler(const log4cplus::Logger& logger, const std::shared_ptr<AppIdentity>& identity,
               std::shared_ptr<Clock> clock);
    /// Detaches and stops all tickers.
    ~KnxHandler() override;
    KnxHandler(const KnxHandler&) = delete;
    KnxHandler& operator=(const KnxHandler&) = delete;

    // The slots of the two bases, in the order in which the stack calls them.
    bool OnGroupValueWrite(std::uint32_t groupObject, const KnxStack::GroupValue& value) override;
    bool OnGroupValueResponse(std::uint32_t groupObject, const KnxStack::GroupValue& value) override;
    bool OnGroupValueRead(std::uint32_t groupObject, KnxStack::GroupValue& value, bool initial) override;
    /// Serves the load state control of the application's own interface object; everything else is the stack's.
    bool OnPropertyRead(std::uint16_t objectType, std::uint16_t propertyId, KnxStack::BinaryData& data) override;
    bool OnPropertyWrite(std::uint16_t objectType, std::uint16_t propertyId, const KnxStack::BinaryData& data) override;

    /// Registers with the stack, creates the application's properties and reads serial number and hardware type. What
    /// was set up before a failure stays until `Detach`.
    bool Init(KnxStack::IApiHub& hub);

    /// Stops all tickers, refuses values and unregisters from the stack. On return nothing of it is used any more, and
    /// no callback runs. May be called again.
    void Detach() noexcept;

    /// 12 hexadecimal digits in lower case; set once by `Init`.
    const std::string& GetSerialNumber() const noexcept { return serialNumber_; }
    /// Set once by `Init`.
    HardwareType GetHardwareType() const noexcept { return hardwareType_; }

    LoadStateMachine& GetLoadState() noexcept { return loadState_; }

    /// Asks `hub` for the application's memory, once until `ResetApplicationProgram1Memory`.
    bool InitApplicationProgram1Memory(KnxStack::IApiHub& hub);
    void ResetApplicationProgram1Memory();

    /// True when all that makes up a downloaded application is loaded: the interface objects of types 1, 2, 3, 9 and
    /// 40960. The check stops at the first that is not.
    bool IsLoadStateMachineLoaded();
    /// True when the interface object of this type is loaded.
    bool IsLoadStateMachineLoaded(std::uint16_t objectType);

    /// Reads what was downloaded into `configuration`, and with it app identity, data-point types and display settings.
    bool InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);

    /// As downloaded, in the encoding of the configuration tool.
    const std::string& GetFriendlyName() const noexcept { return parameters_.GetFriendlyName(); }
    /// As "1.1.10".
    const std::string& GetIndividualAddress() const noexcept { return parameters_.GetIndividualAddress(); }
    const std::vector<KnxStyleString>& GetAdditionalIndividualAddresses() const noexcept {
        return parameters_.GetAdditionalIndividualAddresses();
    }

    /// The ways to the device stack; an empty one is absent. A callback that is under way keeps those it began with.
    void SetMessengers(SetValueFunction setValue, GetValueFunction getValue);

    /// A value of the device stack for the data point `id`, for the bus. True when it was written, when it is the echo
    /// of a value from the bus, and when its CO may not be written. From any thread.
    bool WriteValue(unsigned long id, const ZANVALUE& value);

    /// Stops all tickers; texts are refused until `Open`.
    void StopTickers();
    /// Stops all tickers; every value of the device stack is refused until `Open`.
    void Close();
    void Open();

private:
    bool RegisterWithStack(KnxStack::IApiHub& hub);
    bool CreateProperties();
    bool ReadSerialNumber();
    bool ReadHardwareType();
    std::optional<KnxStack::BinaryData> ReadDeviceNumber(std::uint16_t propertyId, const char* what);

    const PrefixedLogger log_;
    std::string serialNumber_;
    HardwareType hardwareType_;

    // Each of these guards itself; the order is that of their dependence.
    StackAccess stack_;
    LoadStateMachine loadState_;
    DptTable dpts_;
    GroupObjectWriter writer_;
    TickerThreadManager tickers_;
    GroupValueBridge bridge_;
    std::atomic<bool> open_{true};
    ParameterReader parameters_;
};

}  // namespace Zandrel
