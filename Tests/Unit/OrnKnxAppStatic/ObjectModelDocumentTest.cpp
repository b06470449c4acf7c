#include "ObjectModelDocument.h"

#include <gtest/gtest.h>

#include <limits>

#include "DocumentReader.h"

namespace {

using namespace Zandrel;
using DocumentReader::Node;

DataPoint MakeDataPoint(unsigned long id) {
    DataPoint datapoint;
    datapoint.id = id;
    return datapoint;
}

std::string Document(const DataPoint& datapoint) {
    Configuration configuration;
    InsertDataPoint(configuration.datapoints, datapoint);
    return SerializeConfiguration(configuration);
}

/// The document of one data point without what surrounds it.
std::string Text(const DataPoint& datapoint) {
    constexpr std::size_t Before = std::char_traits<char>::length(R"({"datapoints":[)");
    const std::string document = Document(datapoint);
    return document.substr(Before, document.size() - Before - 2);
}

std::string AllBytes() {
    std::string bytes;
    for (int byte = 0; byte <= 255; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

TEST(ObjectModelDocument, EmptyConfigurationIsAnEmptyObject) {
    EXPECT_EQ(SerializeConfiguration({}), "{}");
}

TEST(ObjectModelDocument, DataPointWithOnlyAnIdIsItsIdAlone) {
    EXPECT_EQ(Text(MakeDataPoint(7)), R"({"id":7})");
}

TEST(ObjectModelDocument, InternalDataPointUsesTheInternalKey) {
    DataPoint datapoint = MakeDataPoint(12);
    datapoint.enabled = true;
    datapoint.value = "0";
    datapoint.eventAlways = true;
    datapoint.internal = true;

    EXPECT_EQ(Text(datapoint), R"({"id":12,"enabled":true,"internalValue":"0","eventAlways":"1"})");
}

TEST(ObjectModelDocument, DataPointWithAllFieldsWritesThemInTheirOrder) {
    DataPoint datapoint = MakeDataPoint(1);
    datapoint.name = "a";
    datapoint.enabled = true;
    datapoint.visible = false;
    datapoint.valueType = "b";
    datapoint.valueSubtype = "c";
    datapoint.defaultValue = "d";
    datapoint.value = "e";
    datapoint.eventAlways = false;
    datapoint.cacheTimeout = -1;
    datapoint.pollingInterval = 250;
    datapoint.changedOnly = true;
    datapoint.operations = "f";
    datapoint.defaultValueInit = "g";
    datapoint.metadata = {{"k1", "v1"}, {"k0", "v0"}};

    EXPECT_EQ(Text(datapoint),
              R"({"id":1,"name":"a","enabled":true,"visible":false,"valueType":"b","valueSubtype":"c",)"
              R"("defaultValue":"d","value":"e","eventAlways":"0","cacheTimeout":"-1","pollingInterval":"250",)"
              R"("changedOnly":"1","operations":"f","defaultValueInit":"g",)"
              R"("metadata":[{"key":"k1","value":"v1"},{"key":"k0","value":"v0"}]})");

    datapoint.internal = true;
    const std::string text = Text(datapoint);
    EXPECT_NE(text.find(R"("internalDefaultValue":"d","internalValue":"e","eventAlways")"), std::string::npos) << text;
}

/// Each of the fields that can be missing is there or not, in every combination.
TEST(ObjectModelDocument, EveryCombinationOfFieldsIsSeparatedCorrectly) {
    constexpr unsigned Fields = 14;
    for (unsigned set = 0; set < 1U << Fields; ++set) {
        DataPoint datapoint = MakeDataPoint(1);
        std::string keys = "id";
        unsigned field = 0;
        const auto fill = [&](auto& target, const auto& value, const char* key) {
            if ((set >> field++ & 1U) != 0) {
                target = value;
                keys.append(" ").append(key);
            }
        };
        fill(datapoint.name, "", "name");
        fill(datapoint.enabled, false, "enabled");
        fill(datapoint.visible, true, "visible");
        fill(datapoint.valueType, "", "valueType");
        fill(datapoint.valueSubtype, "", "valueSubtype");
        fill(datapoint.defaultValue, "{", "defaultValue");
        fill(datapoint.value, "[", "value");
        fill(datapoint.eventAlways, true, "eventAlways");
        fill(datapoint.cacheTimeout, 0, "cacheTimeout");
        fill(datapoint.pollingInterval, 0, "pollingInterval");
        fill(datapoint.changedOnly, false, "changedOnly");
        fill(datapoint.operations, "", "operations");
        fill(datapoint.defaultValueInit, "", "defaultValueInit");
        fill(datapoint.metadata, Metadata{{"", ""}}, "metadata");
        ASSERT_EQ(field, Fields);

        ASSERT_EQ(DocumentReader::Read(Text(datapoint)).GetKeys(), keys);
    }
}

TEST(ObjectModelDocument, DeviceWithoutChannelsAndMetadataWritesNoEmptyLists) {
    Configuration configuration;
    AddDevice(configuration, 3);

    EXPECT_EQ(SerializeConfiguration(configuration), R"({"devices":[{"id":3}]})");
}

TEST(ObjectModelDocument, ChannelWithoutDataPointsWritesNoEmptyList) {
    Configuration configuration;
    configuration.channels[4].id = 4;

    EXPECT_EQ(SerializeConfiguration(configuration), R"({"channels":[{"id":4}]})");
}

TEST(ObjectModelDocument, TopLevelListsComeInTheirOrder) {
    Configuration configuration;
    InsertDataPoint(configuration.datapoints, MakeDataPoint(3));
    configuration.channels[2].id = 2;
    AddDevice(configuration, 1);

    EXPECT_EQ(SerializeConfiguration(configuration),
              R"({"devices":[{"id":1}],"channels":[{"id":2}],"datapoints":[{"id":3}]})");
}

TEST(ObjectModelDocument, DevicesChannelsAndDataPointsComeByAscendingId) {
    Configuration configuration;
    for (const unsigned long id : {30UL, 4UL, 200UL}) {
        Device& device = AddDevice(configuration, id);
        for (const unsigned long channelId : {9UL, 8UL}) {
            Channel& channel = AddChannel(device, id * 10 + channelId);
            InsertDataPoint(channel.datapoints, MakeDataPoint(2));
            InsertDataPoint(channel.datapoints, MakeDataPoint(1));
        }
    }
    const std::string datapoints = R"("datapoints":[{"id":1},{"id":2}])";

    EXPECT_EQ(SerializeConfiguration(configuration),
              R"({"devices":[{"id":4,"channels":[{"id":48,)" + datapoints + R"(},{"id":49,)" + datapoints +
                  R"(}]},{"id":30,"channels":[{"id":308,)" + datapoints + R"(},{"id":309,)" + datapoints +
                  R"(}]},{"id":200,"channels":[{"id":2008,)" + datapoints + R"(},{"id":2009,)" + datapoints +
                  R"(}]}]})");
}

TEST(ObjectModelDocument, DeviceWritesItsMembersInTheirOrder) {
    Configuration configuration;
    Device& device = AddDevice(configuration, 1);
    device.name = "device";
    device.enabled = true;
    device.visible = false;
    device.metadata = {{"b", "1"}, {"a", "2"}, {"b", "3"}};
    Channel& channel = AddChannel(device, 2);
    channel.name = "channel";
    channel.enabled = false;
    channel.visible = true;

    EXPECT_EQ(SerializeConfiguration(configuration),
              R"({"devices":[{"id":1,"name":"device","enabled":true,"visible":false,)"
              R"("channels":[{"id":2,"name":"channel","enabled":false,"visible":true}],)"
              R"("metadata":[{"key":"b","value":"1"},{"key":"a","value":"2"},{"key":"b","value":"3"}]}]})");
}

TEST(ObjectModelDocument, TabInANameIsPrecededByABackslash) {
    DataPoint datapoint = MakeDataPoint(7);
    datapoint.name = "a\tb";

    EXPECT_EQ(Text(datapoint), "{\"id\":7,\"name\":\"a\\\tb\"}");
}

TEST(ObjectModelDocument, EachEscapedCharacterKeepsItselfAfterTheBackslash) {
    DataPoint datapoint = MakeDataPoint(7);
    datapoint.value = "\"\\/\b\f\n\r\t";

    EXPECT_EQ(Text(datapoint), "{\"id\":7,\"value\":\"\\\"\\\\\\/\\\b\\\f\\\n\\\r\\\t\"}");
}

TEST(ObjectModelDocument, MetadataKeyIsNeverEscaped) {
    DataPoint datapoint = MakeDataPoint(7);
    datapoint.metadata = {{"a\"/b", "c\"/d"}};

    EXPECT_EQ(Text(datapoint), R"({"id":7,"metadata":[{"key":"a"/b","value":"c\"\/d"}]})");
}

TEST(ObjectModelDocument, TypesOperationsAndInitAreNotEscaped) {
    DataPoint datapoint = MakeDataPoint(7);
    datapoint.valueType = "a/b";
    datapoint.valueSubtype = "c\\d";
    datapoint.operations = "e\tf";
    datapoint.defaultValueInit = "g\"h";

    EXPECT_EQ(Text(datapoint),
              "{\"id\":7,\"valueType\":\"a/b\",\"valueSubtype\":\"c\\d\","
              "\"operations\":\"e\tf\",\"defaultValueInit\":\"g\"h\"}");
}

TEST(ObjectModelDocument, AllByteValuesSurvive) {
    const std::string bytes = AllBytes();
    DataPoint datapoint = MakeDataPoint(7);
    datapoint.name = bytes;
    datapoint.defaultValue = bytes;
    datapoint.value = bytes;
    datapoint.metadata = {{"key", bytes}};
    Configuration configuration;
    Device& device = AddDevice(configuration, 1);
    device.name = bytes;
    device.metadata = {{"key", bytes}};
    Channel& channel = AddChannel(device, 2);
    channel.name = bytes;
    InsertDataPoint(channel.datapoints, datapoint);

    const Node node = DocumentReader::Read(SerializeConfiguration(configuration));

    const Node& deviceNode = node["devices"].items.at(0);
    EXPECT_EQ(deviceNode["name"].text, bytes);
    EXPECT_EQ(deviceNode["metadata"].items.at(0)["value"].text, bytes);
    const Node& channelNode = deviceNode["channels"].items.at(0);
    EXPECT_EQ(channelNode["name"].text, bytes);
    const Node& datapointNode = channelNode["datapoints"].items.at(0);
    EXPECT_EQ(datapointNode["name"].text, bytes);
    EXPECT_EQ(datapointNode["defaultValue"].text, bytes);
    EXPECT_EQ(datapointNode["value"].text, bytes);
    EXPECT_EQ(datapointNode["metadata"].items.at(0)["value"].text, bytes);
}

TEST(ObjectModelDocument, OnlyTheEightCharactersAreEscaped) {
    for (int byte = 0; byte <= 255; ++byte) {
        const std::string character(1, static_cast<char>(byte));
        const bool escaped = std::string("\"\\/\b\f\n\r\t").find(character) != std::string::npos;
        DataPoint datapoint = MakeDataPoint(7);
        datapoint.name = character;

        EXPECT_EQ(Text(datapoint), R"({"id":7,"name":")" + (escaped ? "\\" + character : character) + "\"}")
            << "byte " << byte;
    }
}

TEST(ObjectModelDocument, NumbersHaveTheirFullRange) {
    DataPoint datapoint = MakeDataPoint(std::numeric_limits<unsigned long>::max());
    datapoint.cacheTimeout = std::numeric_limits<int>::min();
    datapoint.pollingInterval = std::numeric_limits<int>::max();

    EXPECT_EQ(Text(datapoint), R"({"id":)" + std::to_string(std::numeric_limits<unsigned long>::max()) +
                                   R"(,"cacheTimeout":"-2147483648","pollingInterval":"2147483647"})");
}

}  // namespace
