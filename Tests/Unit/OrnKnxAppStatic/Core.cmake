orn_add_test(CoreTest
    TIMEOUT 180
    SOURCES
        DeviceResetActionsTest.cpp
        DeviceResetTimerRaceTest.cpp
        DeviceResetTimerTest.cpp
        DeviceStackConnectionTest.cpp
        IncludeTest.cpp
        LoggingFormsTest.cpp
        OrnKnxAppPrgTest.cpp
    LIBRARIES PluginTestSupport KnxStackTestSupport ZandrelPlatform)
