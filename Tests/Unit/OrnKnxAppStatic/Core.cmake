orn_add_test(CoreTest
    TIMEOUT 180
    SOURCES
        DeviceResetTimerRaceTest.cpp
        DeviceResetTimerTest.cpp
        DeviceStackConnectionTest.cpp
        IncludeTest.cpp
        LoggingFormsTest.cpp
        OrnKnxAppPrgTest.cpp
    LIBRARIES PluginTestSupport KnxStackTestSupport ZandrelPlatform)
