# Values and their encodings: no connection, no thread.
target_sources(ZandrelPlatform PRIVATE
    KnxStack/GroupValue.cpp
    Zandrel/DataPointTypes.cpp
    Zandrel/EncodedString.cpp
    Zandrel/GroupValueConversion.cpp
    Zandrel/KnxOdsMapping.cpp
    Zandrel/OrnKnxHelper.cpp
    Zandrel/ZanValue.cpp
)
