orn_add_test(ZanValueTest QUICK SOURCES ZanValueTest.cpp LIBRARIES ZandrelPlatform)
orn_add_test(GroupValueConversionTest QUICK SOURCES GroupValueConversionTest.cpp LIBRARIES ZandrelPlatform)
orn_add_test(KnxOdsMappingTest SOURCES KnxOdsMappingTest.cpp LIBRARIES ZandrelPlatform)
orn_add_test(EncodedStringTest SOURCES EncodedStringTest.cpp LIBRARIES ZandrelPlatform)

# Which codes of a type are values: by trying them, and as documented.
orn_add_test(DataPointTypesTest QUICK TIMEOUT 240
    SOURCES DataPointCodes.cpp DataPointTableTest.cpp DataPointTypesTest.cpp LIBRARIES ZandrelPlatform)
target_include_directories(DataPointTypesTest PRIVATE "${CMAKE_SOURCE_DIR}/LocalDevice/PlatformLibrary")
target_compile_definitions(DataPointTypesTest PRIVATE
    "ORN_DATA_POINT_TYPES_DOCUMENT=\"${CMAKE_SOURCE_DIR}/Docs/data-point-types.md\"")
