orn_add_test(CoreTest
    TIMEOUT 180
    SOURCES
        DeviceResetActionsTest.cpp
        DeviceResetTimerRaceTest.cpp
        DeviceResetTimerTest.cpp
        DeviceStackConnectionTest.cpp
        IncludeTest.cpp
        InitThreadTest.cpp
        LoggingFormsTest.cpp
        OrnKnxAppPrgTest.cpp
        PlatformClientFactoryTest.cpp
        "${PROJECT_SOURCE_DIR}/Tests/Unit/PlatformLibrary/FakeDeviceStack.cpp"
    LIBRARIES PluginTestSupport KnxStackTestSupport AllocationFault ZandrelPlatform)
target_include_directories(CoreTest PRIVATE ../PlatformLibrary)
