#include "DevicePaths.h"

namespace Zandrel::DevicePaths {

// Concatenation, not the path operator: that one would let an absolute right side replace the root.
boost::filesystem::path AppHostDirectory() {
    return ORN_DEVICE_ROOT "/opt/ostra/bin/";
}

boost::filesystem::path UserNativeAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/userdata/orn/";
}

boost::filesystem::path SystemNativeAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/ostra/lib";
}

}  // namespace Zandrel::DevicePaths
