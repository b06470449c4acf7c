#pragma once

#include <boost/thread/mutex.hpp>
#include <memory>

#include "AppIdentity.h"
#include "DeviceStackConnection.h"
#include "IKnxConfigurationSource.h"
#include "KnxConfiguration.h"
#include "ObjectModel.h"
#include "Orn/BoundedInt.h"
#include "Orn/ThreadControl.h"
#include "PrefixedLogger.h"

namespace Zandrel {

/// Publishes the loaded app in the device stack's object model, and takes it back.
///
/// Every operation waits for the device stack's answers; the waits are Boost interruption points.
class ObjectModelConfigurator {
public:
    /// `connection` and `knx` must outlive the configurator.
    ObjectModelConfigurator(PrefixedLogger log, DeviceStackConnection& connection,
                            std::shared_ptr<const AppIdentity> identity, IKnxConfigurationSource& knx);
    ObjectModelConfigurator(const ObjectModelConfigurator&) = delete;
    ObjectModelConfigurator& operator=(const ObjectModelConfigurator&) = delete;

    /// Finds out which logical device this is, reads its download and publishes devices, COs and parameters, each kind
    /// in a document of its own. False where that failed or `control` said stop; what was published until then stays.
    /// Called on the init thread.
    bool ConfigureObjectModel(const ThreadControl& control);

    /// Sends one document of the cycle that `control` belongs to; waits 25 s at most. False, after one line, unless the
    /// device stack took it. Once the cycle was told to stop nothing is sent.
    bool SetConfiguration(const ThreadControl& control, const Configuration& configuration);

    /// Forgets what was read of the download and disables the logical device in the device stack; waits 30 s at most.
    /// False when the latter failed. Callable from any thread.
    bool ResetConfiguration(LogicalDeviceId logicalDevice);

    /// `id`: the device's object-model id; false at once where it is 0.
    bool DisableLogicalKnxDevice(unsigned long id);

    /// What the current cycle has read; empty before it has and after a reset. Never null. Callable from any thread.
    std::shared_ptr<const KnxConfiguration> GetKnxConfiguration() const;

private:
    struct Cycle;

    bool RetrieveKnxConfiguration(LogicalDeviceId logicalDevice, KnxConfiguration& configuration);
    bool MakeCurrent(std::shared_ptr<const KnxConfiguration> configuration, const ThreadControl& control);
    bool PublishAll(const Cycle& cycle, const KnxConfiguration& configuration);
    bool PublishDevices(const Cycle& cycle);
    template <typename Iterator, typename Add>
    bool PublishChannels(const Cycle& cycle, const char* items, Iterator first, Iterator last, const Add& add);

    const PrefixedLogger log_;
    DeviceStackConnection& connection_;
    const std::shared_ptr<const AppIdentity> identity_;
    IKnxConfigurationSource& knx_;

    /// Guards `current_`. A document is sent under it too: none follows the reset that takes it once a cycle is
    /// stopped.
    mutable boost::mutex mutex_;
    std::shared_ptr<const KnxConfiguration> current_ = std::make_shared<KnxConfiguration>();
};

}  // namespace Zandrel
