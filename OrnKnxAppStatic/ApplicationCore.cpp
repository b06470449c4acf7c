#include "ApplicationCore.h"

#include "DeviceResetActions.h"

namespace Zandrel {

ApplicationCore::ApplicationCore(const log4cplus::Logger& logger, const Environment& environment,
                                 Ostra::IDeviceStackClient::IEventHandler& handler)
    : identity(std::make_shared<AppIdentity>()),
      log(logger, identity),
      clock(environment.clock),
      eventHandler(handler),
      knxHandler(logger, identity, clock),
      knxDownload(knxHandler),
      connection(log, clock, environment.clientFactory, environment.connectionTimes, environment.deviceStackAddress),
      processControl(logger, clock),
      appControl(log, connection, identity, processControl),
      appLauncher(log, identity, processControl, environment.packageCheck),
      appDebugMode(log, identity, processControl, appControl, appLauncher),
      configurator(log, connection, identity, knxDownload),
      deviceResetTimer(ioState.GetService(), log, MakeDeviceResetActions(processControl)) {
    processControl.SetShutDownFunction([this] { return appControl.SendAppControlEventStop(); });
}

}  // namespace Zandrel
