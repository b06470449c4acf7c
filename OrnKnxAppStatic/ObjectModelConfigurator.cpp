#include "ObjectModelConfigurator.h"

#include <malloc.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <cstddef>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "DeviceStackConfigurationIndicator.h"
#include "LogicalKnxDevice.h"
#include "ObjectModelBuilder.h"
#include "ObjectModelDocument.h"
#include "Orn/MeasureDuration.h"
#include "Zandrel/KnxOdsMapping.h"

namespace Zandrel {

namespace {

/// What the duration of a document of channels tells.
struct AddedItems {
    std::ptrdiff_t count;
    const char* items;

    friend std::ostream& operator<<(std::ostream& stream, const AddedItems& added) {
        return stream << "ConfigureObjectModel(): Adding " << added.count << ' ' << added.items
                      << " to configuration took ";
    }
};

}  // namespace

/// One run of `ConfigureObjectModel`.
struct ObjectModelConfigurator::Cycle {
    const ThreadControl& control;
    LogicalDeviceId logicalDevice;
};

ObjectModelConfigurator::ObjectModelConfigurator(PrefixedLogger log, DeviceStackConnection& connection,
                                                 std::shared_ptr<const AppIdentity> identity,
                                                 IKnxConfigurationSource& knx)
    : log_(std::move(log)), connection_(connection), identity_(std::move(identity)), knx_(knx) {}

bool ObjectModelConfigurator::ConfigureObjectModel(const ThreadControl& control) {
    const std::optional<LogicalDeviceId> logicalDevice =
        GetLogicalKnxDeviceId(connection_, knx_.GetSerialNumber(), log_);
    if (!control.running) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    if (!logicalDevice) {
        ORN_LOG(log_, ERROR, "Unable to determine Logical KNX Device ID! Start impossible.");
        return false;
    }
    const auto configuration = std::make_shared<KnxConfiguration>();
    if (!RetrieveKnxConfiguration(*logicalDevice, *configuration)) {
        if (identity_->GetAppId().empty()) {
            ORN_LOG(log_, ERROR, "Cannot start with empty App ID.");
        }
        ORN_LOG(log_, ERROR, "Failed to initialize object model.");
        return false;
    }
    if (!MakeCurrent(configuration, control)) {
        ORN_LOG(log_, INFO, "Interruption signaled.");
        return false;
    }
    if (identity_->GetLogicalDeviceId() != logicalDevice) {
        ORN_LOG(log_, ERROR, "Sanity check of Logical KNX Device ID failed");
        return false;
    }
    if (!connection_.IsConnected()) {
        ORN_LOG(log_, ERROR, "No connection to devicestack client!");
        return false;
    }
    const bool isPublished = PublishAll({control, *logicalDevice}, *configuration);
    // The device gets back at once what the documents took, several times what the plug-in keeps: nothing asks for it
    // again.
    malloc_trim(0);
    if (!isPublished) {
        return false;
    }
    ORN_LOG(log_, INFO, "Object model configured successfully.");
    return true;
}

bool ObjectModelConfigurator::RetrieveKnxConfiguration(LogicalDeviceId logicalDevice, KnxConfiguration& configuration) {
    const MeasureDuration duration("ConfigureObjectModel(): Retrieving configuration took ", log_.GetLogger(),
                                   AnyDuration);
    return knx_.InitObjectModel(logicalDevice, configuration) && !identity_->GetAppId().empty();
}

bool ObjectModelConfigurator::MakeCurrent(std::shared_ptr<const KnxConfiguration> configuration,
                                          const ThreadControl& control) {
    // Under the lock that a reset takes after it has stopped the cycle: a cycle that goes on in the background cannot
    // bring back what was reset.
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!control.running) {
        return false;
    }
    current_ = std::move(configuration);
    return true;
}

bool ObjectModelConfigurator::PublishAll(const Cycle& cycle, const KnxConfiguration& configuration) {
    const DeviceStackConfigurationIndicator span(connection_, log_.GetLogger(), identity_->GetAppId());
    const auto addCo = [this](Device& device, const CoChannelAttr& co) {
        return ConfigureObjModelCo(device, co, identity_->GetLogicalDeviceId(), log_);
    };
    const auto addParameter = [this](Device& device, const ParamAttr& parameter) {
        return ConfigureObjModelParam(device, parameter, log_);
    };
    const auto publishParameters = [this, &cycle, &addParameter](const char* items,
                                                                 const std::vector<ParamAttr>& parameters) {
        return PublishChannels(cycle, items, parameters.begin(), parameters.end(), addParameter);
    };
    const std::vector<CoChannelAttr>& cos = configuration.cos;
    const auto firstCo = cos.empty() ? cos.end() : std::next(cos.begin());  // the first entry stands for no CO
    return PublishDevices(cycle) &&                                         //
           PublishChannels(cycle, "COs", firstCo, cos.end(), addCo) &&
           publishParameters("IP Parameters", configuration.ipParameters) &&
           publishParameters("Number Parameters", configuration.numberParameters) &&
           publishParameters("Text Parameters", configuration.textParameters);
}

bool ObjectModelConfigurator::PublishDevices(const Cycle& cycle) {
    const MeasureDuration duration("ConfigureObjectModel(): Setting up object model configuration took ",
                                   log_.GetLogger(), AnyDuration);
    Configuration configuration;
    return ConfigureDevices(configuration, cycle.logicalDevice, identity_->GetAppId(), knx_) &&
           SetConfiguration(cycle.control, configuration);
}

/// One document with a channel for each of [first, last).
template <typename Iterator, typename Add>
bool ObjectModelConfigurator::PublishChannels(const Cycle& cycle, const char* items, Iterator first, Iterator last,
                                              const Add& add) {
    const MeasureDuration duration(AddedItems{std::distance(first, last), items}, log_.GetLogger(), AnyDuration);
    Configuration configuration;
    Device& device =
        AddDevice(configuration, KnxOdsMapping::GetLogicalKnxDeviceObjModelId(cycle.logicalDevice.Value()));
    for (; first != last; ++first) {
        if (!cycle.control.running) {
            ORN_LOG_AS("ConfigureObjectModel", log_, INFO, "Interruption signaled.");
            return false;
        }
        if (!add(device, *first)) {
            return false;
        }
    }
    return SetConfiguration(cycle.control, configuration);
}

bool ObjectModelConfigurator::SetConfiguration(const ThreadControl& control, const Configuration& configuration) {
    const std::string document = SerializeConfiguration(configuration);
    boost::unique_lock<boost::mutex> lock(mutex_);
    if (!control.running) {
        ORN_LOG_AS("ConfigureObjectModel", log_, INFO, "Interruption signaled.");
        return false;
    }
    const std::optional<Docket> docket = connection_.SetConfiguration(document);
    lock.unlock();
    if (!docket) {
        ORN_LOG(log_, ERROR, "No connection to devicestack client!");
        return false;
    }
    switch (Judge(*docket)) {
        case Answer::Valid:
            return true;
        case Answer::TimedOut:
            ORN_LOG(log_, ERROR, "Configuration of object model timed out.");
            return false;
        case Answer::Refused:
            break;
    }
    ORN_LOG(log_, ERROR, "Configuration of object model failed: " << docket->ReadDeliveryError());
    return false;
}

bool ObjectModelConfigurator::ResetConfiguration(LogicalDeviceId logicalDevice) {
    auto old = std::make_shared<const KnxConfiguration>();  // freed at the end, without the lock
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        current_.swap(old);
    }
    const bool disabled = DisableLogicalKnxDevice(KnxOdsMapping::GetLogicalKnxDeviceObjModelId(logicalDevice.Value()));
    if (!disabled) {
        ORN_LOG(log_, WARN, "Failed to disable device channel. Logical device: " << logicalDevice.Value());
    }
    return disabled;
}

bool ObjectModelConfigurator::DisableLogicalKnxDevice(unsigned long id) {
    if (id == 0) {
        return false;
    }
    const std::optional<Docket> docket =
        connection_.SetConfiguration(id, {{Ostra::IDeviceStackClient::PropertyType::Enabled, false}});
    if (!docket) {
        ORN_LOG(log_, ERROR, "Connection to device stack unavailable!");
        return false;
    }
    switch (Judge(*docket)) {
        case Answer::Valid:
            return true;
        case Answer::TimedOut:
            ORN_LOG(log_, ERROR, "Setting configuration of object '" << id << "' time out.");
            return false;
        case Answer::Refused:
            break;
    }
    ORN_LOG(log_, ERROR, "Failed to set configuration of object '" << id << "': " << docket->ReadDeliveryError());
    return false;
}

std::shared_ptr<const KnxConfiguration> ObjectModelConfigurator::GetKnxConfiguration() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return current_;
}

}  // namespace Zandrel
