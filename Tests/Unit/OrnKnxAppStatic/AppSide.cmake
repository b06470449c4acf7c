# The device's folders as they stand below the working directory of a test.
orn_add_test(AppSideTest QUICK
    SOURCES
        AppControlTest.cpp
        AppDebugModeTest.cpp
        AppHostControlStateTest.cpp
        AppHostProcessControlTest.cpp
        AppHostRunStateTest.cpp
        AppHostStopTest.cpp
        AppLauncherTest.cpp
        AppLocatorTest.cpp
        ConnectorHostTest.cpp
        ManagedAppLauncherTest.cpp
        "${PROJECT_SOURCE_DIR}/OrnKnxAppStatic/DevicePaths.cpp"
    LIBRARIES AllocationFault AppPackageTestSupport PluginTestSupport ZandrelPlatform ProcessTestSupport)
target_compile_definitions(AppSideTest PRIVATE "ORN_DEVICE_ROOT=\"device\"")

# And as they stand on a device.
orn_add_test(DevicePathsTest
    SOURCES DevicePathsTest.cpp "${PROJECT_SOURCE_DIR}/OrnKnxAppStatic/DevicePaths.cpp"
    LIBRARIES OrnKnxAppStatic ZandrelPlatform)
target_compile_definitions(DevicePathsTest PRIVATE "ORN_DEVICE_ROOT=\"\"")
