# The device's folders as they stand below the working directory of a test.
orn_add_test(LifeCycleTest QUICK
    SOURCES
        LifeCycle/CycleTest.cpp
        LifeCycle/ExpectedLines.cpp
        LifeCycle/FailedCycleTest.cpp
        LifeCycle/LifeCycleFixture.cpp
        LifeCycle/WayThroughACycleTest.cpp
        "${PROJECT_SOURCE_DIR}/OrnKnxAppStatic/DevicePaths.cpp"
    LIBRARIES PluginTestSupport KnxStackTestSupport ZandrelPlatform ProcessTestSupport ThreadShortage)
target_include_directories(LifeCycleTest PRIVATE .)
target_compile_definitions(LifeCycleTest PRIVATE "ORN_DEVICE_ROOT=\"device\"")
