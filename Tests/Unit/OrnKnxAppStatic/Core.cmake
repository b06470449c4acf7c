orn_add_test(CoreTest
    SOURCES
        DeviceResetTimerTest.cpp
        DeviceStackConnectionTest.cpp
        IncludeTest.cpp
        LoggingFormsTest.cpp
        OrnKnxAppPrgTest.cpp
    LIBRARIES PluginTestSupport KnxStackTestSupport ZandrelPlatform)
