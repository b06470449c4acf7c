#include "ObjectModelBuilder.h"

#include "ObjectModelConfiguratorFixture.h"
#include "ObjectModelDocument.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using namespace Zandrel;

class ObjectModelBuilderTest : public TestSupport::ObjectModelConfiguratorFixture {
protected:
    static constexpr std::uint32_t Boolean = 0x10001;       ///< 1.001
    static constexpr std::uint32_t UnknownType = 0xFA0007;  ///< 250.007: no table knows it

    static CoChannelAttr MakeCo(std::uint32_t dpt) {
        CoChannelAttr co;
        co.valid = true;
        co.number = 42;
        co.name = "Co42";
        co.dpt = dpt;
        return co;
    }

    /// The channels that were added to the device, as the document has them.
    std::string Channels() const {
        constexpr std::size_t Before = std::char_traits<char>::length(R"({"devices":[{"id":1000000,"channels":[)");
        const std::string document = SerializeConfiguration(configuration);
        return document.substr(Before, document.size() - Before - std::char_traits<char>::length("]}]}"));
    }

    Configuration configuration;
    Device& device = AddDevice(configuration, 1000000);
};

TEST_F(ObjectModelBuilderTest, CoWithAKnownTypeStartsWithItsDefault) {
    EXPECT_TRUE(ConfigureObjModelCo(device, MakeCo(Boolean), Device1(), logger));

    EXPECT_EQ(Channels(),
              R"({"id":1010420,"name":"Co42","enabled":true,"visible":true,"datapoints":[{"id":1010421,"enabled":true,)"
              R"("visible":true,"valueType":"2","valueSubtype":"1","internalDefaultValue":"2.1:0","eventAlways":"0",)"
              R"("changedOnly":"1","defaultValueInit":"Value",)"
              R"("metadata":[{"key":"KIM-DPT","value":"65537"},{"key":"KIM-IsActive","value":"0"}]}]})");
    EXPECT_TRUE(TakeLines().empty());
}

TEST_F(ObjectModelBuilderTest, CoWithoutADefaultStartsWithoutContentUnderTheInternalKey) {
    EXPECT_TRUE(ConfigureObjModelCo(device, MakeCo(UnknownType), Device1(), logger));

    EXPECT_EQ(Channels(),
              R"({"id":1010420,"name":"Co42","enabled":true,"visible":true,"datapoints":[{"id":1010421,"enabled":true,)"
              R"("visible":true,"internalValue":"1.1:","eventAlways":"0","changedOnly":"1","defaultValueInit":"None",)"
              R"("metadata":[{"key":"KIM-DPT","value":"16384007"},{"key":"KIM-IsActive","value":"0"}]}]})");
}

TEST_F(ObjectModelBuilderTest, CoThatMayBeWrittenIsEventAlwaysAndNotChangedOnly) {
    CoChannelAttr co = MakeCo(Boolean);
    co.mayBeWritten = true;

    EXPECT_TRUE(ConfigureObjModelCo(device, co, Device1(), logger));

    const DataPoint& value = device.channels.at(1010420).datapoints.at(1010421);
    EXPECT_EQ(value.eventAlways, true);
    EXPECT_EQ(value.changedOnly, false);
}

TEST_F(ObjectModelBuilderTest, CommunicationFlagIsPublishedAsActive) {
    CoChannelAttr co = MakeCo(Boolean);
    co.communicationFlag = true;

    EXPECT_TRUE(ConfigureObjModelCo(device, co, Device1(), logger));

    EXPECT_EQ(device.channels.at(1010420).datapoints.at(1010421).metadata,
              (Metadata{{"KIM-DPT", "65537"}, {"KIM-IsActive", "1"}}));
}

TEST_F(ObjectModelBuilderTest, LargestTypeIsWrittenUnsignedAndUngrouped) {
    EXPECT_TRUE(ConfigureObjModelCo(device, MakeCo(0xFFFFFFFF), Device1(), logger));

    EXPECT_EQ(device.channels.at(1010420).datapoints.at(1010421).metadata.front().second, "4294967295");
}

TEST_F(ObjectModelBuilderTest, InactiveCoGetsItsChannelOnly) {
    CoChannelAttr co = MakeCo(1);
    co.valid = false;

    EXPECT_TRUE(ConfigureObjModelCo(device, co, Device1(), logger));

    EXPECT_EQ(Channels(), R"({"id":1010420,"name":"Co42","enabled":false,"visible":false})");
    EXPECT_EQ(TakeLines(), (Lines{Line("DEBUG", "ConfigureObjModelCo", "CO Channel 42 is inactive")}));
}

TEST_F(ObjectModelBuilderTest, CoOfTheSecondDeviceHasItsIds) {
    EXPECT_TRUE(ConfigureObjModelCo(device, MakeCo(Boolean), LogicalDeviceId::From(2), logger));

    EXPECT_EQ(device.channels.at(2010420).datapoints.count(2010421), 1U);
}

TEST_F(ObjectModelBuilderTest, CoWithoutALogicalDeviceIsRefused) {
    EXPECT_FALSE(ConfigureObjModelCo(device, MakeCo(Boolean), std::nullopt, logger));

    EXPECT_EQ(TakeLines(), (Lines{Line("ERROR", "ConfigureObjModelCo", "No valid logical device Id.")}));
    EXPECT_TRUE(device.channels.empty());
}

TEST_F(ObjectModelBuilderTest, CoNumberOutOfRangeIsRefused) {
    CoChannelAttr co = MakeCo(Boolean);
    co.number = 0;

    EXPECT_FALSE(ConfigureObjModelCo(device, co, Device1(), logger));

    EXPECT_EQ(
        TakeLines(),
        (Lines{Line("ERROR", "ConfigureObjModelCo", "Could not determine channel id for CO 0, logical device 1")}));
    EXPECT_TRUE(device.channels.empty());
}

TEST_F(ObjectModelBuilderTest, ParameterIsPublishedWithItsValue) {
    EXPECT_TRUE(ConfigureObjModelParam(device, {true, 1022030, "a\"b", "", ParameterType::Text}, logger));

    EXPECT_EQ(Channels(), R"({"id":1022030,"enabled":true,"visible":true,"datapoints":[{"id":1022031,"enabled":true,)"
                          R"("visible":true,"value":"a\"b","eventAlways":"0","defaultValueInit":"None"}]})");
}

TEST_F(ObjectModelBuilderTest, ParameterWithoutValueStartsWithoutContent) {
    EXPECT_TRUE(ConfigureObjModelParam(device, {true, 1022030, "", "", ParameterType::Text}, logger));

    EXPECT_EQ(Channels(), R"({"id":1022030,"enabled":true,"visible":true,"datapoints":[{"id":1022031,"enabled":true,)"
                          R"("visible":true,"internalValue":"1.1:","eventAlways":"0","defaultValueInit":"None"}]})");
}

TEST_F(ObjectModelBuilderTest, InactiveParameterGetsADisabledChannelOnly) {
    EXPECT_TRUE(ConfigureObjModelParam(device, {false, 1022030, "text", "", ParameterType::Text}, logger));

    EXPECT_EQ(Channels(), R"({"id":1022030,"enabled":false,"visible":false})");
}

TEST_F(ObjectModelBuilderTest, ParameterWithoutAnIdForItsValueIsRefused) {
    EXPECT_FALSE(ConfigureObjModelParam(device, {true, 77, "text", "", ParameterType::Text}, logger));

    EXPECT_EQ(TakeLines(), (Lines{Line("ERROR", "ConfigureObjModelParam",
                                       "Failed to get datapoint id of parameter value dp. Channel: 77")}));
}

TEST_F(ObjectModelBuilderTest, AppControlChannelHasItsFourDataPoints) {
    EXPECT_TRUE(ConfigureAppControlChannel(configuration, 1000000, Device1()));

    EXPECT_EQ(Channels(), R"({"id":1001000,"datapoints":[)"
                          R"({"id":1001001,"enabled":true,"visible":true,"value":"0","eventAlways":"0",)"
                          R"("defaultValueInit":"None"},)"
                          R"({"id":1001002,"enabled":true,"visible":true,"internalValue":"1.1:","eventAlways":"1",)"
                          R"("changedOnly":"0","defaultValueInit":"None"},)"
                          R"({"id":1001003,"enabled":true,"visible":true,"internalValue":"1.1:","eventAlways":"1",)"
                          R"("changedOnly":"0","defaultValueInit":"None"},)"
                          R"({"id":1001004,"enabled":true,"visible":true,"internalValue":"1.1:","eventAlways":"0",)"
                          R"("defaultValueInit":"None"}]})");
}

TEST_F(ObjectModelBuilderTest, AppControlChannelAddsAMissingDevice) {
    Configuration empty;

    EXPECT_TRUE(ConfigureAppControlChannel(empty, 2000000, *LogicalDeviceId::From(2)));

    EXPECT_EQ(empty.devices.at(2000000).channels.at(2001000).datapoints.size(), 4U);
}

TEST_F(ObjectModelBuilderTest, DevicesCarryNamesAddressesAndTheirChannels) {
    knx.friendlyName = "Hall \xE4 \"1\"";
    knx.additionalAddresses = {KnxStyleString("1.1.11"), KnxStyleString("1.1.12")};
    Configuration devices;

    EXPECT_TRUE(ConfigureDevices(devices, Device1(), "app/1", knx));

    devices.devices.at(1000000).channels.at(1001000).datapoints.clear();  // shown above
    EXPECT_EQ(SerializeConfiguration(devices),
              "{\"devices\":[{\"id\":1000,\"name\":\"Logical KNX Device 1\","
              "\"metadata\":[{\"key\":\"KIM-FriendlyName\",\"value\":\"Hall \xE4 \\\"1\\\"\"}]},"
              R"({"id":1000000,"name":"app\/1","enabled":true,"visible":true,)"
              R"("channels":[{"id":1000100},{"id":1001000}],)"
              R"("metadata":[{"key":"KIM-IA","value":"1.1.10"},{"key":"KIM-AIAs","value":"1.1.11, 1.1.12"}]}]})");
}

TEST_F(ObjectModelBuilderTest, NoAdditionalAddressesGiveAnEmptyText) {
    Configuration devices;

    EXPECT_TRUE(ConfigureDevices(devices, Device1(), "app", knx));

    EXPECT_EQ(devices.devices.at(1000000).metadata.at(1), (std::pair<std::string, std::string>("KIM-AIAs", "")));
}

TEST_F(ObjectModelBuilderTest, AdditionalAddressesBecomeUtf8InTheirOrder) {
    knx.additionalAddresses = {KnxStyleString(""), KnxStyleString("b\xE4"), KnxStyleString("a")};
    Configuration devices;

    EXPECT_TRUE(ConfigureDevices(devices, Device1(), "app", knx));

    EXPECT_EQ(devices.devices.at(1000000).metadata.at(1).second, ", b\xC3\xA4, a");
}

}  // namespace
