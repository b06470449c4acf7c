orn_add_test(ObjectModelTest QUICK
    SOURCES
        DeviceStackConfigurationIndicatorTest.cpp
        DocumentReader.cpp
        FullDeviceDocumentTest.cpp
        LogicalKnxDeviceTest.cpp
        ObjectModelBuilderTest.cpp
        ObjectModelConfiguratorTest.cpp
        ObjectModelDocumentTest.cpp
        ObjectModelInterruptionTest.cpp
        ObjectModelResetTest.cpp
        ObjectModelTest.cpp
        RequestAnswerTest.cpp
    LIBRARIES PluginTestSupport AllocationFault)
target_compile_definitions(ObjectModelTest PRIVATE GOLDEN_FOLDER="${CMAKE_CURRENT_SOURCE_DIR}/Golden/")

# A program of its own: it brings a table of ids with a gap, which takes the place of the platform's.
orn_add_test(ObjectModelIdGapTest SOURCES ObjectModelIdGapTest.cpp LIBRARIES PluginTestSupport)
