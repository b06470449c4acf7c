#include "DevicePaths.h"

namespace Zandrel::DevicePaths {

// Concatenation, not the path operator: that one would let an absolute right side replace the root.
boost::filesystem::path AppHostDirectory() {
    return ORN_DEVICE_ROOT "/opt/ostra/bin/";
}

boost::filesystem::path UserManagedAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/userdata/ornApp/1";
}

boost::filesystem::path SystemManagedAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/ostra/bin";
}

boost::filesystem::path UserNativeAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/userdata/orn/";
}

boost::filesystem::path SystemNativeAppDirectory() {
    return ORN_DEVICE_ROOT "/opt/ostra/lib";
}

boost::filesystem::path CaCertificate() {
    return ORN_DEVICE_ROOT "/opt/ostra/etc/programmable/ca.crt";
}

}  // namespace Zandrel::DevicePaths
