#pragma once

#include <string>
#include <vector>

#include "KnxConfiguration.h"
#include "Orn/BoundedInt.h"
#include "Zandrel/EncodedString.h"

namespace Zandrel {

/// The KNX side, as the object model needs it. Called on the init thread only. No call throws.
class IKnxConfigurationSource {
public:
    virtual ~IKnxConfigurationSource() = default;

    /// Reads the download of `logicalDevice` into `configuration`, and the texts below. On the way it publishes the app
    /// id and the logical device in the `AppIdentity`. False, after a log line, when a part of it cannot be read.
    virtual bool InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) = 0;

    /// 12 hexadecimal digits.
    virtual std::string GetSerialNumber() const = 0;
    /// Any bytes, as the configuration tool wrote them.
    virtual std::string GetFriendlyName() const = 0;
    virtual std::string GetIndividualAddress() const = 0;
    virtual std::vector<KnxStyleString> GetAdditionalIndividualAddresses() const = 0;
};

}  // namespace Zandrel
