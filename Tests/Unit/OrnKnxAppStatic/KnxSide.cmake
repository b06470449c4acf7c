orn_add_test(KnxSideTest
    SOURCES
        EventFilterTest.cpp
        GroupValueBridgeTest.cpp
        GroupValueReadTest.cpp
        KnxHandlerTest.cpp
        KnxHandlerValuesTest.cpp
        LoadStateMachineTest.cpp
        ParameterMapTest.cpp
        ParameterReaderTest.cpp
        ScrollingTextTest.cpp
        TickerSequenceTest.cpp
        TickerTest.cpp
        ValueTextTest.cpp
    LIBRARIES KnxStackTestSupport PluginTestSupport ThreadShortage Boost::filesystem)

# A program of its own: it brings a table of ids with a gap, which takes the place of the platform's.
orn_add_test(KnxSideIdGapTest
    SOURCES KnxSideIdGapTest.cpp LIBRARIES KnxStackTestSupport PluginTestSupport)

orn_add_test(BridgeModelTest
    TIMEOUT 180
    SOURCES
        BridgeModel/BridgeModelTest.cpp
        BridgeModel/Model.cpp
        BridgeModel/Neighbours.cpp
        BridgeModel/Outcome.cpp
        BridgeModel/Step.cpp
        BridgeModel/StepSource.cpp
        BridgeModel/Subject.cpp
    LIBRARIES PluginTestSupport nlohmann_json::nlohmann_json)
set(modelSteps 1000000)
if(ORN_SANITIZE)  # which makes it ten times as slow
    set(modelSteps 100000)
elseif(CMAKE_CROSSCOMPILING_EMULATOR)  # where it takes long
    set(modelSteps 300000)
endif()
target_compile_definitions(BridgeModelTest PRIVATE ORN_MODEL_STEPS=${modelSteps})
