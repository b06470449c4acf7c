#include "DeviceResetActions.h"

#include "AppHostProcessControl.h"

namespace Zandrel {

DeviceResetTimer::Actions MakeDeviceResetActions(AppHostProcessControl& processControl) {
    return {[&processControl] { return processControl.GetConfiguration().IsInAppDebugMode(); },
            [&processControl] { processControl.GetIpcClient().Restart(false); }};
}

}  // namespace Zandrel
