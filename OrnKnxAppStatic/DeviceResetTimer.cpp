#include "DeviceResetTimer.h"

#include "DeviceResetTimerImplementation.h"

namespace Zandrel {

template class BasicDeviceResetTimer<boost::chrono::steady_clock>;

}  // namespace Zandrel
