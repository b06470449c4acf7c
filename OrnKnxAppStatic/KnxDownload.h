#pragma once

#include <string>
#include <vector>

#include "IKnxConfigurationSource.h"

namespace Zandrel {

class KnxHandler;

/// The download as the object model reads it: the KNX handler's reading half. Does not own the handler.
class KnxDownload final : public IKnxConfigurationSource {
public:
    explicit KnxDownload(KnxHandler& handler) noexcept : handler_(handler) {}

    bool InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) override;
    std::string GetSerialNumber() const override;
    std::string GetFriendlyName() const override;
    std::string GetIndividualAddress() const override;
    std::vector<KnxStyleString> GetAdditionalIndividualAddresses() const override;

private:
    KnxHandler& handler_;
};

}  // namespace Zandrel
