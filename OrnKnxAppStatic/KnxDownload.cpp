#include "KnxDownload.h"

#include "KnxHandler.h"

namespace Zandrel {

bool KnxDownload::InitObjectModel(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    return handler_.InitObjectModel(logicalDevice, configuration);
}

std::string KnxDownload::GetSerialNumber() const {
    return handler_.GetSerialNumber();
}

std::string KnxDownload::GetFriendlyName() const {
    return handler_.GetFriendlyName();
}

std::string KnxDownload::GetIndividualAddress() const {
    return handler_.GetIndividualAddress();
}

std::vector<KnxStyleString> KnxDownload::GetAdditionalIndividualAddresses() const {
    return handler_.GetAdditionalIndividualAddresses();
}

}  // namespace Zandrel
