#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "AppControl.h"
#include "AppDebugMode.h"
#include "AppHostProcessControl.h"
#include "AppIdentity.h"
#include "AppLauncher.h"
#include "DeviceResetTimer.h"
#include "DeviceStackConnection.h"
#include "IoState.h"
#include "KnxDownload.h"
#include "KnxHandler.h"
#include "ObjectModelConfigurator.h"
#include "Orn/Clock.h"
#include "PrefixedLogger.h"
#include "StackHub.h"

namespace Zandrel {

/// What an application program takes from outside; a test hands in its own.
struct Environment {
    std::shared_ptr<Clock> clock = std::make_shared<Clock>();
    ClientFactory clientFactory = PlatformClientFactory();
    ConnectionTimes connectionTimes{};
    PackageCheck packageCheck = SignedPackageCheck();
    std::string deviceStackAddress{};  ///< empty: the local device stack
};

/// Everything of an application program that its threads work on.
///
/// Held by the host's object and by every init thread: a cycle that the host no longer waits for still finds everything
/// in place. What belongs to the host (the KNX stack's services, the device-stack client) is behind gates that the
/// host's object closes before it goes.
struct ApplicationCore {
    /// `handler` is registered for the device stack's events by each cycle; the connection drops it.
    ApplicationCore(const log4cplus::Logger& logger, const Environment& environment,
                    Ostra::IDeviceStackClient::IEventHandler& handler);
    ApplicationCore(const ApplicationCore&) = delete;
    ApplicationCore& operator=(const ApplicationCore&) = delete;

    const std::shared_ptr<AppIdentity> identity;
    const PrefixedLogger log;
    const std::shared_ptr<Clock> clock;
    Ostra::IDeviceStackClient::IEventHandler& eventHandler;

    // Each of these guards itself.
    StackHub hub;
    KnxHandler knxHandler;
    KnxDownload knxDownload;
    DeviceStackConnection connection;
    std::atomic<bool> restarting{false};  ///< while a restart's init cycle is in progress
    AppHostProcessControl processControl;
    AppControl appControl;
    AppLauncher appLauncher;
    AppDebugMode appDebugMode;
    ObjectModelConfigurator configurator;
    IoState ioState;
    DeviceResetTimer deviceResetTimer;
};

}  // namespace Zandrel
