orn_add_test(CoreTest
    SOURCES
        DeviceResetTimerTest.cpp
        IncludeTest.cpp
        LoggingFormsTest.cpp
    LIBRARIES OrnKnxAppStatic ZandrelPlatform)
