#include "ObjectModel.h"

#include <gtest/gtest.h>

#include "ObjectModelDocument.h"

namespace {

using namespace Zandrel;

std::string Document(const DataPoints& datapoints) {
    Configuration configuration;
    configuration.datapoints = datapoints;
    return SerializeConfiguration(configuration);
}

TEST(ObjectModel, AddedDataPointIsEnabledAndVisibleAndHasItsValue) {
    DataPoints datapoints;

    EXPECT_TRUE(AddDataPoint(datapoints, 12, "7", false));

    EXPECT_EQ(Document(datapoints),
              R"({"datapoints":[{"id":12,"enabled":true,"visible":true,"value":"7","eventAlways":"0",)"
              R"("defaultValueInit":"None"}]})");
}

TEST(ObjectModel, AddedDataPointWithoutValueHasTheValueWithoutContentUnderTheInternalKey) {
    DataPoints datapoints;

    EXPECT_TRUE(AddDataPoint(datapoints, 12, std::nullopt, false));

    EXPECT_EQ(Document(datapoints),
              R"({"datapoints":[{"id":12,"enabled":true,"visible":true,"internalValue":"1.1:","eventAlways":"0",)"
              R"("defaultValueInit":"None"}]})");
}

TEST(ObjectModel, AddedDataPointThatIsEventAlwaysIsNotChangedOnly) {
    DataPoints datapoints;

    EXPECT_TRUE(AddDataPoint(datapoints, 12, "7", true));

    EXPECT_EQ(Document(datapoints),
              R"({"datapoints":[{"id":12,"enabled":true,"visible":true,"value":"7","eventAlways":"1",)"
              R"("changedOnly":"0","defaultValueInit":"None"}]})");
}

TEST(ObjectModel, AddedDataPointWithEmptyValueKeepsIt) {
    DataPoints datapoints;

    EXPECT_TRUE(AddDataPoint(datapoints, 12, "", false));

    EXPECT_EQ(datapoints.at(12).value, "");
    EXPECT_FALSE(datapoints.at(12).internal);
}

TEST(ObjectModel, OfTwoDataPointsWithTheSameIdTheFirstStays) {
    DataPoints datapoints;
    DataPoint first;
    first.id = 5;
    first.name = "first";
    DataPoint second;
    second.id = 5;
    second.name = "second";

    InsertDataPoint(datapoints, first);
    const DataPoint& stored = InsertDataPoint(datapoints, second);

    EXPECT_EQ(stored.name, "first");
    EXPECT_EQ(datapoints.size(), 1U);
}

TEST(ObjectModel, AddedDataPointLeavesAnInsertedOneInPlace) {
    DataPoints datapoints;
    DataPoint first;
    first.id = 5;
    first.value = "first";
    InsertDataPoint(datapoints, first);

    EXPECT_TRUE(AddDataPoint(datapoints, 5, "second", true));

    EXPECT_EQ(datapoints.at(5).value, "first");
}

TEST(ObjectModel, InsertedDataPointCanBeCompletedInPlace) {
    DataPoints datapoints;
    DataPoint datapoint;
    datapoint.id = 5;
    datapoint.value = "3.1:0";

    DataPoint& stored = InsertDataPoint(datapoints, datapoint);
    stored.metadata.emplace_back("key", "text");
    stored.internal = true;

    EXPECT_EQ(Document(datapoints),
              R"({"datapoints":[{"id":5,"internalValue":"3.1:0","metadata":[{"key":"key","value":"text"}]}]})");
}

TEST(ObjectModel, AddedDeviceAndChannelAreFoundAgain) {
    Configuration configuration;
    Device& device = AddDevice(configuration, 3);
    device.name = "device";
    AddChannel(device, 4).name = "channel";

    EXPECT_EQ(AddDevice(configuration, 3).name, "device");
    EXPECT_EQ(AddChannel(AddDevice(configuration, 3), 4).name, "channel");
    EXPECT_EQ(SerializeConfiguration(configuration),
              R"({"devices":[{"id":3,"name":"device","channels":[{"id":4,"name":"channel"}]}]})");
}

}  // namespace
