#include "ObjectModelConfigurator.h"

#include <gmock/gmock.h>

#include "ObjectModelConfiguratorFixture.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using namespace Zandrel;

class ObjectModelConfiguratorTest : public TestSupport::ObjectModelConfiguratorFixture {
protected:
    static CoChannelAttr MakeCo(std::uint16_t number) {
        CoChannelAttr co;
        co.valid = true;
        co.number = number;
        co.name = "Co" + std::to_string(number);
        co.dpt = 0x10001;
        return co;
    }

    static ParamAttr MakeParameter(std::uint16_t slot, ParameterType type) {
        ParamAttr parameter;
        parameter.active = true;
        parameter.channelId = *KnxOdsMapping::GetParameterChannelObjModelId(slot, 1, type);
        parameter.value = "7";
        parameter.type = type;
        return parameter;
    }
};

TEST_F(ObjectModelConfiguratorTest, FiveDocumentsAreSentWithinTheSpan) {
    Connect();

    EXPECT_TRUE(Configure());

    const std::vector<std::string> requests = stack.GetRequests();
    ASSERT_EQ(requests.size(), 8U);
    EXPECT_EQ(requests.at(0), R"({"command":"GetDeviceConfig"})");
    EXPECT_EQ(requests.at(1), Begin);
    EXPECT_EQ(stack.GetDocuments().size(), 5U);
    EXPECT_EQ(requests.at(7), End);
}

TEST_F(ObjectModelConfiguratorTest, EveryStepIsLogged) {
    knx.download.cos.push_back(MakeCo(1));
    knx.download.cos.push_back(MakeCo(2));
    knx.download.ipParameters = {MakeParameter(1, ParameterType::Ip)};
    knx.download.numberParameters = {MakeParameter(1, ParameterType::Number), MakeParameter(2, ParameterType::Number)};
    Connect();

    EXPECT_TRUE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved, switchedOn, devicesSent, Took("Adding 2 COs to configuration"),
                                  Took("Adding 1 IP Parameters to configuration"),
                                  Took("Adding 2 Number Parameters to configuration"),
                                  Took("Adding 0 Text Parameters to configuration"), switchedOff,
                                  Line("INFO", "ConfigureObjectModel", "Object model configured successfully.")}));
}

TEST_F(ObjectModelConfiguratorTest, DurationsEndInTheirTimes) {
    Connect();

    EXPECT_TRUE(Configure());

    EXPECT_THAT(log.GetLines().at(1).text,
                ::testing::MatchesRegex("~MeasureDuration - ConfigureObjectModel\\(\\): Retrieving configuration took "
                                        "[0-9]+\\.[0-9]{6}s wall, .*"));
}

TEST_F(ObjectModelConfiguratorTest, ListWithOnlyTheFirstCoEntryCountsNone) {
    Connect();

    EXPECT_TRUE(Configure());

    EXPECT_EQ(TakeLines().at(4), Took("Adding 0 COs to configuration"));
    EXPECT_EQ(stack.GetDocuments().at(1), R"({"devices":[{"id":1000000}]})");
}

TEST_F(ObjectModelConfiguratorTest, ListWithoutAnyCoEntryCountsNoneEither) {
    knx.download.cos.clear();
    Connect();

    EXPECT_TRUE(Configure());

    EXPECT_EQ(TakeLines().at(4), Took("Adding 0 COs to configuration"));
}

TEST_F(ObjectModelConfiguratorTest, BatchesCarryTheirDeviceAndTheirChannels) {
    knx.download.cos.push_back(MakeCo(1));
    knx.download.cos.back().valid = false;
    knx.download.ipParameters = {MakeParameter(1, ParameterType::Ip)};
    knx.download.numberParameters = {MakeParameter(2, ParameterType::Number)};
    knx.download.textParameters = {MakeParameter(3, ParameterType::Text)};
    Connect();

    EXPECT_TRUE(Configure());

    const auto parameter = [](const std::string& channelId, const std::string& valueId) {
        return R"({"devices":[{"id":1000000,"channels":[{"id":)" + channelId +
               R"(,"enabled":true,"visible":true,"datapoints":[{"id":)" + valueId +
               R"(,"enabled":true,"visible":true,"value":"7","eventAlways":"0","defaultValueInit":"None"}]}]}]})";
    };
    const std::vector<std::string> documents = stack.GetDocuments();
    EXPECT_EQ(documents.at(1), R"({"devices":[{"id":1000000,"channels":[)"
                               R"({"id":1010010,"name":"Co1","enabled":false,"visible":false}]}]})");
    EXPECT_EQ(documents.at(2), parameter("1020010", "1020011"));
    EXPECT_EQ(documents.at(3), parameter("1021020", "1021021"));
    EXPECT_EQ(documents.at(4), parameter("1022030", "1022031"));
}

TEST_F(ObjectModelConfiguratorTest, WhatWasReadIsKept) {
    knx.download.cos.push_back(MakeCo(1));
    Connect();

    EXPECT_TRUE(Configure());

    EXPECT_EQ(sut.GetKnxConfiguration()->cos.size(), 2U);
}

TEST_F(ObjectModelConfiguratorTest, UnknownLogicalDeviceMakesTheStartImpossible) {
    Connect();
    stack.Refuse("GetDeviceConfig", "not now");

    EXPECT_FALSE(Configure());

    EXPECT_EQ(
        TakeLines(),
        (Lines{Line("ERROR", "GetLogicalKnxDeviceId", "Error retrieving configuration from devicestack! not now"),
               Line("ERROR", "ConfigureObjectModel", "Unable to determine Logical KNX Device ID! Start impossible.")}));
}

TEST_F(ObjectModelConfiguratorTest, UnreadableDownloadEndsTheConfiguration) {
    knx.readable = false;
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved,
                                  Line("ERROR", "ConfigureObjectModel", "Failed to initialize object model.")}));
    EXPECT_EQ(stack.GetRequests().size(), 1U);
    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
}

/// Without an app id the lines have no prefix, and the errors end in the call stack.
void ExpectBothMessagesOfAnEmptyAppId(const std::vector<TestSupport::LogLine>& lines) {
    ASSERT_EQ(lines.size(), 4U);
    const std::string first = "ConfigureObjectModel - Cannot start with empty App ID. [";
    const std::string second = "ConfigureObjectModel - Failed to initialize object model. [";
    EXPECT_EQ(lines.at(2).level, "ERROR");
    EXPECT_EQ(lines.at(2).text.substr(0, first.size()), first);
    EXPECT_EQ(lines.at(3).level, "ERROR");
    EXPECT_EQ(lines.at(3).text.substr(0, second.size()), second);
}

TEST_F(ObjectModelConfiguratorTest, EmptyAppIdIsRefused) {
    knx.appId = "";
    Connect();

    EXPECT_FALSE(Configure());

    ExpectBothMessagesOfAnEmptyAppId(TakeLines());
    EXPECT_EQ(stack.GetRequests().size(), 1U);
}

TEST_F(ObjectModelConfiguratorTest, UnreadableDownloadWithEmptyAppIdGivesBothMessages) {
    knx.appId = "";
    knx.readable = false;
    Connect();

    EXPECT_FALSE(Configure());

    ExpectBothMessagesOfAnEmptyAppId(TakeLines());
}

TEST_F(ObjectModelConfiguratorTest, OtherLogicalDeviceOnTheKnxSideFailsTheSanityCheck) {
    knx.heldDevice = LogicalDeviceId::From(2);
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(),
              (Lines{determined, retrieved,
                     Line("ERROR", "ConfigureObjectModel", "Sanity check of Logical KNX Device ID failed")}));
    EXPECT_EQ(stack.GetRequests().size(), 1U);
}

TEST_F(ObjectModelConfiguratorTest, ConnectionThatGoesWhileTheDownloadIsReadIsReported) {
    knx.whenRead = [this] { connection.Disconnect(); };
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved,
                                  Line("ERROR", "ConfigureObjectModel", "No connection to devicestack client!")}));
}

TEST_F(ObjectModelConfiguratorTest, RefusedDocumentEndsTheConfigurationAndTheSpan) {
    knx.download.cos.push_back(MakeCo(1));
    Connect();
    stack.Refuse("KIM-DPT", "no space");

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved, switchedOn, devicesSent,
                                  Line("ERROR", "SetConfiguration", "Configuration of object model failed: no space"),
                                  Took("Adding 1 COs to configuration"), switchedOff}));
    EXPECT_EQ(stack.GetDocuments().size(), 2U);
    EXPECT_EQ(stack.GetRequests().back(), End);
}

TEST_F(ObjectModelConfiguratorTest, CoWithoutAnIdEndsTheConfigurationAndTheSpan) {
    knx.download.cos.push_back(MakeCo(521));
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(
        TakeLines(),
        (Lines{determined, retrieved, switchedOn, devicesSent,
               Line("ERROR", "ConfigureObjModelCo", "Could not determine channel id for CO 521, logical device 1"),
               Took("Adding 1 COs to configuration"), switchedOff}));
    EXPECT_EQ(stack.GetDocuments().size(), 1U);
}

TEST_F(ObjectModelConfiguratorTest, ParameterWithoutAnIdEndsTheConfigurationAndTheSpan) {
    knx.download.textParameters = {MakeParameter(1, ParameterType::Text)};
    knx.download.textParameters.front().channelId = 3;
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(stack.GetDocuments().size(), 4U);
    EXPECT_EQ(stack.GetRequests().back(), End);
}

TEST_F(ObjectModelConfiguratorTest, FailedSpanEventsDoNotStopTheConfiguration) {
    Connect();
    stack.Refuse("EmitEvent", "no events");

    EXPECT_TRUE(Configure());

    EXPECT_EQ(stack.GetDocuments().size(), 5U);
}

class SetConfigurationTest : public TestSupport::ObjectModelConfiguratorFixture {};

TEST_F(SetConfigurationTest, DocumentIsSent) {
    Connect();
    Configuration configuration;
    AddDevice(configuration, 3);

    EXPECT_TRUE(sut.SetConfiguration(control, configuration));

    EXPECT_EQ(stack.GetDocuments(), (std::vector<std::string>{R"({"devices":[{"id":3}]})"}));
    EXPECT_TRUE(TakeLines().empty());
}

TEST_F(SetConfigurationTest, TimeOutIsReported) {
    ConnectToDeafDeviceStack();
    ObjectModelConfigurator impatient(logger, impatientConnection, identity, knx);

    EXPECT_FALSE(impatient.SetConfiguration(control, {}));

    EXPECT_EQ(TakeLines(), (Lines{Line("ERROR", "SetConfiguration", "Configuration of object model timed out.")}));
}

TEST_F(SetConfigurationTest, RefusalIsReportedWithItsReason) {
    Connect();
    stack.Refuse("SetConfiguration", "no space");

    EXPECT_FALSE(sut.SetConfiguration(control, {}));

    EXPECT_EQ(TakeLines(),
              (Lines{Line("ERROR", "SetConfiguration", "Configuration of object model failed: no space")}));
}

TEST_F(SetConfigurationTest, LostConnectionIsReportedWithItsReason) {
    Connect();
    stack.LoseConnectionAt("SetConfiguration");

    EXPECT_FALSE(sut.SetConfiguration(control, {}));

    EXPECT_EQ(TakeLines(), (Lines{Line("ERROR", "SetConfiguration",
                                       "Configuration of object model failed: Connection to device stack lost.")}));
}

TEST_F(SetConfigurationTest, MissingConnectionIsReported) {
    EXPECT_FALSE(sut.SetConfiguration(control, {}));

    EXPECT_EQ(TakeLines(), (Lines{Line("ERROR", "SetConfiguration", "No connection to devicestack client!")}));
}

}  // namespace
