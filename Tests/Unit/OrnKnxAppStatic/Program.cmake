# The application program as a whole, between a KNX stack, a device stack and app hosts that do as they are told.
orn_add_test(ProgramTest
    SOURCES
        Program/ConnectionTest.cpp
        Program/DebugModeTest.cpp
        Program/EventsTest.cpp
        Program/ExitTest.cpp
        Program/GatesTest.cpp
        Program/InterruptionTest.cpp
        Program/KnxHandlerExceptionsTest.cpp
        Program/ManagedGatesTest.cpp
        Program/MemoryShortageTest.cpp
        Program/RestartTest.cpp
        Program/SilentDeviceStackTest.cpp
        Program/StaleRunStateTest.cpp
        Program/StartTest.cpp
        Program/UnexpectedFailureTest.cpp
        "${PROJECT_SOURCE_DIR}/OrnKnxAppStatic/DevicePaths.cpp"
    LIBRARIES PluginTestSupport KnxStackTestSupport ProcessTestSupport AllocationFault ThreadShortage ZandrelPlatform)
target_compile_definitions(ProgramTest PRIVATE "ORN_DEVICE_ROOT=\"device\"")
target_include_directories(ProgramTest PRIVATE .)

# A program of its own: its functions have names for the call stack.
orn_add_test(CallStackTest SOURCES CallStackTest.cpp LIBRARIES OrnKnxAppStatic ZandrelPlatform)
set_target_properties(CallStackTest PROPERTIES ENABLE_EXPORTS ON)
