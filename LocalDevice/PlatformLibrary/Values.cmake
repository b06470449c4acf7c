# Values and their encodings: no connection, no thread.
target_sources(ZandrelPlatform PRIVATE
    KnxStack/GroupValue.cpp
    Zandrel/DataPointTypes.cpp
    Zandrel/DataPoints/BitSetTypes.cpp
    Zandrel/DataPoints/NumberTypes.cpp
    Zandrel/DataPoints/Record.cpp
    Zandrel/DataPoints/RecordTypes.cpp
    Zandrel/DataPoints/TextTypes.cpp
    Zandrel/EncodedString.cpp
    Zandrel/GroupValueConversion.cpp
    Zandrel/KnxOdsMapping.cpp
    Zandrel/OrnKnxHelper.cpp
    Zandrel/ZanValue.cpp
)
