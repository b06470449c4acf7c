orn_add_test(CoreTest
    SOURCES
        DeviceResetTimerRaceTest.cpp
        DeviceResetTimerTest.cpp
        DeviceStackConnectionTest.cpp
        IncludeTest.cpp
        LoggingFormsTest.cpp
        OrnKnxAppPrgTest.cpp
    LIBRARIES PluginTestSupport KnxStackTestSupport ZandrelPlatform)
