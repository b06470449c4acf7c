orn_add_test(CoreTest QUICK
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
    LIBRARIES DeviceStackTestSupport PluginTestSupport KnxStackTestSupport AllocationFault ZandrelPlatform)
