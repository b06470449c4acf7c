#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KnxConfiguration.h"
#include "Orn/BoundedInt.h"
#include "PrefixedLogger.h"
#include "Zandrel/EncodedString.h"

namespace KnxStack {
class IInterfaceObject;
}

namespace Zandrel {

class DptTable;
class StackAccess;
class TickerThreadManager;

/// Reads what was downloaded into the KNX stack's interface objects and the application's memory.
///
/// Used by one init cycle at a time, on its thread and with the load-state mutex held; what it publishes beyond the
/// cycle (app identity, data-point types, display settings) guards itself. Every operation returns false after one log
/// line, unless it says otherwise.
class ParameterReader {
public:
    ParameterReader(PrefixedLogger log, std::shared_ptr<AppIdentity> identity, const StackAccess& stack, DptTable& dpts,
                    TickerThreadManager& tickers);
    ParameterReader(const ParameterReader&) = delete;
    ParameterReader& operator=(const ParameterReader&) = delete;

    /// Reads everything, in the order of the operations below. What was read before a failure stays.
    bool InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);

    bool InitializeFriendlyNameAndIndividualAddresses();
    bool InitializeAppId();
    /// Also stops the tickers of the COs that take no texts any more.
    bool InitializeCoMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    /// A slot without an object-model id makes it fail without a message.
    bool InitializeTextParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    bool InitializeIpParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    bool InitializeNumberParameterMap(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    /// A failed read makes it fail without a message.
    bool InitializeCommunicationFlagsOfCosInMap(KnxConfiguration& configuration);
    bool InitializeDisplaySettingsAndAppType();

    /// As downloaded: the bytes up to the first zero byte.
    const std::string& GetFriendlyName() const noexcept { return friendlyName_; }
    const std::string& GetIndividualAddress() const noexcept { return individualAddress_; }
    const std::vector<KnxStyleString>& GetAdditionalIndividualAddresses() const noexcept {
        return additionalIndividualAddresses_;
    }

private:
    struct NumericParameters;

    bool ReadAdditionalIndividualAddresses(KnxStack::IInterfaceObject& ipParameters);
    bool ReadCos(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    bool ReadNumericParameters(const NumericParameters& kind, LogicalDeviceId logicalDevice,
                               std::vector<ParamAttr>& parameters) const;

    const PrefixedLogger log_;
    const std::shared_ptr<AppIdentity> identity_;
    const StackAccess& stack_;
    DptTable& dpts_;
    TickerThreadManager& tickers_;

    // Guarded by the mutex of the load state, which the caller holds.
    std::string friendlyName_;
    std::string individualAddress_;
    std::vector<KnxStyleString> additionalIndividualAddresses_;
};

}  // namespace Zandrel
