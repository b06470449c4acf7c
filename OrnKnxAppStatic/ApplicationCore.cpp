#include "ApplicationCore.h"

#include <utility>

#include "DeviceStackConfigurationIndicator.h"

namespace Zandrel {

ApplicationCore::ApplicationCore(const log4cplus::Logger& logger, const Environment& environment)
    : identity(std::make_shared<AppIdentity>()),
      log(logger, identity),
      clock(environment.clock),
      knxHandler(logger, identity, clock),
      connection(log, clock, environment.clientFactory, environment.connectionTimes),
      processControl(logger, clock),
      appControl(log, connection, identity, processControl),
      appLauncher(log, identity, processControl),
      configurator(log, connection, identity, knxHandler),
      deviceResetTimer(ioState.GetService(), log,
                       {[this] { return processControl.GetConfiguration().IsInAppDebugMode(); },
                        [this] { processControl.GetIpcClient().Restart(false); }}) {
    processControl.SetShutDownFunction([this] { return appControl.SendAppControlEventStop(); });
}

}  // namespace Zandrel
