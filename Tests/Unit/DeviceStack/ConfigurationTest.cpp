#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DispatcherFixture.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class ConfigurationTest : public DeviceStackTest::DispatcherFixture {
protected:
    json GetDevice(std::size_t index) { return GetModel()["devices"].at(index); }

    /// The events that a document brings, which must be accepted.
    std::vector<json> EventsOf(const std::string& document) {
        EXPECT_TRUE(Ask(R"("command":"SetConfiguration","configuration":)" + document).contains("response"));
        return observer.Take();
    }
};

TEST_F(ConfigurationTest, AnEmptyDocumentChangesNothing) {
    Configure("{}");
    EXPECT_EQ(GetModel(), json::parse(R"({"devices":[]})"));
}

TEST_F(ConfigurationTest, EveryFieldOfADocumentIsKept) {
    const std::string document =
        R"({"devices":[{"id":1,"name":"d","enabled":true,"visible":false,"channels":[)"
        R"({"id":2,"name":"c","enabled":false,"visible":true,"datapoints":[)"
        R"({"id":3,"name":"p","enabled":true,"visible":true,"valueType":"3","valueSubtype":"1",)"
        R"("defaultValue":"3.1:7","value":"3.1:-8","eventAlways":"1","cacheTimeout":"-5","pollingInterval":"60",)"
        R"("changedOnly":"0","operations":"rw","defaultValueInit":"Value",)"
        R"("metadata":[{"key":"k2","value":"v2"},{"key":"k1","value":"v1"}]}]}],)"
        R"("metadata":[{"key":"KIM-FriendlyName","value":"x"}]}]})";
    std::string internal = document;
    internal.replace(internal.find("\"defaultValue\""), 14, "\"internalDefaultValue\"");
    internal.replace(internal.find("\"value\""), 7, "\"internalValue\"");
    Configure(internal);
    EXPECT_EQ(GetModel(), json::parse(document));
}

TEST_F(ConfigurationTest, AnObjectWithNothingButAnIdIsKeptAsSuch) {
    Configure(R"({"devices":[{"id":4294967295,"channels":[{"id":2,"datapoints":[{"id":7}]}]}]})");
    EXPECT_EQ(GetDevice(0), json::parse(R"({"id":4294967295,"channels":[{"id":2,"datapoints":[{"id":7}]}]})"));
}

TEST_F(ConfigurationTest, FieldsThatADeviceIsGivenReplaceAndTheOthersStay) {
    Configure(R"({"devices":[{"id":1,"name":"old","enabled":true,"metadata":[{"key":"a","value":"1"}]}]})");
    Configure(R"({"devices":[{"id":1,"name":"new","visible":false}]})");
    EXPECT_EQ(GetDevice(0), json::parse(R"({"id":1,"name":"new","enabled":true,"visible":false,"channels":[],)"
                                        R"("metadata":[{"key":"a","value":"1"}]})"));
    Configure(R"({"devices":[{"id":1,"metadata":[{"key":"b","value":"2"}]}]})");
    EXPECT_EQ(GetDevice(0)["metadata"], json::parse(R"([{"key":"b","value":"2"}])"));
}

TEST_F(ConfigurationTest, ChannelsThatADeviceDoesNotNameStayWithTheirValues) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100,"internalValue":"3.1:5"}]}]}]})");
    Configure(R"({"devices":[{"id":1,"channels":[{"id":11,"datapoints":[{"id":110}]}]}]})");
    EXPECT_EQ(GetDevice(0)["channels"].size(), 2U);
    EXPECT_EQ(GetValue(100), "3.1:5");
}

TEST_F(ConfigurationTest, AChannelThatIsNamedIsReplacedWithItsPoints) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"name":"old","datapoints":[{"id":100},{"id":101}]}]}]})");
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"enabled":true,"datapoints":[{"id":101},{"id":102}]}]}]})");
    EXPECT_EQ(GetDevice(0)["channels"],
              json::parse(R"([{"id":10,"enabled":true,"datapoints":[{"id":101},{"id":102}]}])"));
    EXPECT_THAT(Fail(R"("command":"GetValue","id":100)"), HasSubstr("no data point has the id 100"));
}

TEST_F(ConfigurationTest, APointOfAReplacedChannelLosesItsValueUnlessTheDocumentSetsOne) {
    const std::string withoutValue = R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]}]}]})";
    Configure(withoutValue);
    SetValue(100, "3.1:5");
    Configure(withoutValue);
    EXPECT_EQ(GetValue(100), "none");
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100,"internalValue":"3.1:9"}]}]}]})");
    EXPECT_EQ(GetValue(100), "3.1:9");
}

TEST_F(ConfigurationTest, InitialisationIsNeverReportedAsAValueChange) {
    const std::string document = R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
                                 R"({"id":100,"internalValue":"3.1:5","eventAlways":"1"}]}]}]})";
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(EventsOf(document), ElementsAre(json{{"event", "configurationChanged"}, {"id", 1}}));
    }
}

TEST_F(ConfigurationTest, EachDeviceThatIsSetIsReported) {
    EXPECT_THAT(EventsOf(R"({"devices":[{"id":2,"channels":[{"id":20,"datapoints":[{"id":200}]}]},{"id":1}]})"),
                ElementsAre(json{{"event", "configurationChanged"}, {"id", 1}},
                            json{{"event", "configurationChanged"}, {"id", 2}}));
    EXPECT_THAT(EventsOf(R"({"channels":[{"id":20,"datapoints":[{"id":200}]}]})"),
                ElementsAre(json{{"event", "configurationChanged"}, {"id", 2}}));
    EXPECT_THAT(EventsOf(R"({"datapoints":[{"id":200,"name":"x"}]})"),
                ElementsAre(json{{"event", "configurationChanged"}, {"id", 2}}));
    EXPECT_THAT(EventsOf("{}"), IsEmpty());
    EXPECT_THAT(newcomer.Take(), IsEmpty());
}

TEST_F(ConfigurationTest, AChannelAtTheTopIsReplacedWhereItIs) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"name":"x","datapoints":[{"id":100},{"id":101}]}]}]})");
    Configure(R"({"channels":[{"id":10,"datapoints":[{"id":102}]}]})");
    EXPECT_EQ(GetDevice(0)["channels"], json::parse(R"([{"id":10,"datapoints":[{"id":102}]}])"));
}

TEST_F(ConfigurationTest, APointAtTheTopIsMergedWhereItIs) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
              R"({"id":100,"name":"x","valueType":"3","internalValue":"3.1:5"}]}]}]})");
    Configure(R"({"datapoints":[{"id":100,"visible":true}]})");
    EXPECT_EQ(GetDevice(0)["channels"][0]["datapoints"],
              json::parse(R"([{"id":100,"name":"x","visible":true,"valueType":"3","value":"3.1:5"}])"));
    Configure(R"({"datapoints":[{"id":100,"value":"6"}]})");
    EXPECT_EQ(GetValue(100), "3.1:6");
}

TEST_F(ConfigurationTest, UnknownObjectsAtTheTopAreRefused) {
    EXPECT_EQ(FailToConfigure(R"({"channels":[{"id":10}]})"), "configuration.channels[0].id: no channel has the id 10");
    EXPECT_EQ(FailToConfigure(R"({"devices":[{"id":1,"channels":[{"id":10}]}],"datapoints":[{"id":5}]})"),
              "configuration.datapoints[0].id: no data point has the id 5");
}

TEST_F(ConfigurationTest, APointAtTheTopIsUnknownWhenItsChannelIsReplacedWithoutIt) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]}]}]})");
    EXPECT_EQ(FailToConfigure(R"({"channels":[{"id":10}],"datapoints":[{"id":100}]})"),
              "configuration.datapoints[0].id: no data point has the id 100");
}

TEST_F(ConfigurationTest, APointMayMoveOutOfAChannelThatIsReplaced) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]},{"id":11}]}]})");
    Configure(R"({"devices":[{"id":1,"channels":[{"id":11,"datapoints":[{"id":100}]},{"id":10}]}]})");
    EXPECT_EQ(GetDevice(0)["channels"],
              json::parse(R"([{"id":10,"datapoints":[]},{"id":11,"datapoints":[{"id":100}]}])"));
    Configure(R"({"devices":[{"id":100},{"id":1,"channels":[{"id":11}]}]})");
    EXPECT_EQ(GetModel()["devices"].size(), 2U);
}

TEST_F(ConfigurationTest, AnIdIsUsedOnce) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]},{"id":11}]},{"id":2}]})");
    const std::string devices = R"({"devices":[)";
    EXPECT_EQ(FailToConfigure(devices + R"({"id":2,"channels":[{"id":10}]}]})"),
              "configuration.devices[0].channels[0].id: 10 is a channel of device 1");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":1,"channels":[{"id":11,"datapoints":[{"id":100}]}]}]})"),
              "configuration.devices[0].channels[0].datapoints[0].id: 100 is a data point of channel 10");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":10}]})"), "configuration.devices[0].id: 10 is a channel of device 1");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":100}]})"),
              "configuration.devices[0].id: 100 is a data point of channel 10");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":1,"channels":[{"id":2}]}]})"),
              "configuration.devices[0].channels[0].id: 2 is a device");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":1,"channels":[{"id":11,"datapoints":[{"id":10}]}]}]})"),
              "configuration.devices[0].channels[0].datapoints[0].id: 10 is a channel of device 1");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":1},{"id":1}]})"), "configuration.devices[1].id: 1 is given twice");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":1,"channels":[{"id":10}]}],"channels":[{"id":10}]})"),
              "configuration.channels[0].id: 10 is given twice");
    EXPECT_EQ(FailToConfigure(devices + R"({"id":5,"channels":[{"id":5}]}]})"),
              "configuration.devices[0].channels[0].id: 5 is given twice");
}

TEST_F(ConfigurationTest, APlainValueGetsTheDeclaredType) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
              R"({"id":100,"value":"0"},{"id":101,"valueType":"3","valueSubtype":"1","value":"0"},)"
              R"({"id":102,"valueType":"4","valueSubtype":"2","value":"0.5"},{"id":103,"valueType":"2","value":"1"},)"
              R"({"id":104,"valueType":"5","value":""},{"id":105,"valueType":"1","value":"t"},)"
              R"({"id":106,"valueType":"other","value":"t"}]}]}]})");
    EXPECT_EQ(GetValue(100), "5.1:0");
    EXPECT_EQ(GetValue(101), "3.1:0");
    EXPECT_EQ(GetValue(102), "4.2:0.5");
    EXPECT_EQ(GetValue(103), "2.1:1");
    EXPECT_EQ(GetValue(104), "5.1:");
    EXPECT_EQ(GetValue(105), "5.1:t");
    EXPECT_EQ(GetValue(106), "5.1:t");
}

TEST_F(ConfigurationTest, TheValueWithoutContentIsNoValue) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
              R"({"id":100,"internalValue":"1.1:","internalDefaultValue":"1.1:"}]}]}]})");
    EXPECT_EQ(GetDevice(0)["channels"][0]["datapoints"], json::parse(R"([{"id":100}])"));
    EXPECT_EQ(GetValue(100), "none");
}

TEST_F(ConfigurationTest, ADefaultIsNoValue) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
              R"({"id":100,"internalDefaultValue":"2.1:0","defaultValueInit":"Value"}]}]}]})");
    EXPECT_EQ(Fail(R"("command":"GetValue","id":100)"), "id: data point 100 has no value");
}

TEST_F(ConfigurationTest, ADocumentIsReadWithItsRawBytes) {
    // As written by hand: a backslash before the raw control byte, other control bytes bare, Latin-1 bytes as they are.
    Configure(
        "{\"devices\":[{\"id\":1,\"name\":\"a\\\tb\\\nc\\/d\\\"e\\\\f\",\"channels\":[{\"id\":10,\"name\":\"\x01\x1f\","
        "\"datapoints\":[{\"id\":100,\"internalValue\":\"5.1:K\xFC"
        "che\"}]}],\"metadata\":[{\"key\":\"KIM-FriendlyName\",\"value\":\"\xE4\xF6\xFC\\\b\"}]}]}");
    const json device = GetDevice(0);
    EXPECT_EQ(device["name"], "a\tb\nc/d\"e\\f");
    EXPECT_EQ(device["channels"][0]["name"], "\x01\x1f");
    EXPECT_EQ(device["channels"][0]["datapoints"][0]["value"], u8"5.1:K\u00FCche");
    EXPECT_EQ(device["metadata"][0]["value"], u8"\u00E4\u00F6\u00FC\b");
}

TEST_F(ConfigurationTest, MembersThatNobodyKnowsAreIgnored) {
    Configure(R"({"version":7,"devices":[{"id":1,"colour":[1]}]})");
    EXPECT_EQ(GetDevice(0), json::parse(R"({"id":1,"channels":[]})"));
}

TEST_F(ConfigurationTest, AMalformedFieldRefusesTheWholeDocumentAndNamesThePlace) {
    const std::string number = "expected a number from 1 to 4294967295";
    const std::string boolean = "expected true or false";
    const std::string text = "expected a string";
    const std::string array = "expected an array";
    const std::string digit = R"(expected "0" or "1")";
    const std::string digits = "expected a string that holds a decimal number of 32 bits";
    const std::string serialised = R"(expected a serialised value, such as "3.1:42")";
    struct Case {
        std::string point;
        std::string error;
    };
    const std::vector<Case> cases{
        {R"(7)", ": expected an object"},
        {R"({})", ".id: is missing; expected a number"},
        {R"({"id":0})", ".id: " + number},
        {R"({"id":4294967296})", ".id: " + number},
        {R"({"id":18446744073709551616})", ".id: " + number},
        {R"({"id":-1})", ".id: " + number},
        {R"({"id":1.0})", ".id: " + number},
        {R"({"id":"3"})", ".id: " + number},
        {R"({"id":null})", ".id: " + number},
        {R"({"id":3,"name":5})", ".name: " + text},
        {R"({"id":3,"name":null})", ".name: " + text},
        {R"({"id":3,"enabled":"true"})", ".enabled: " + boolean},
        {R"({"id":3,"visible":1})", ".visible: " + boolean},
        {R"({"id":3,"valueType":3})", ".valueType: " + text},
        {R"({"id":3,"valueSubtype":1})", ".valueSubtype: " + text},
        {R"({"id":3,"value":5})", ".value: " + text},
        {R"({"id":3,"valueType":"3","value":"five"})", ".value: expected the text of a value of type 3.1"},
        {R"({"id":3,"valueType":"2","valueSubtype":"x","value":"1"})",
         ".value: expected the text of a value of type 2.x"},
        {R"({"id":3,"valueType":"3","defaultValue":""})", ".defaultValue: expected the text of a value of type 3.1"},
        {R"({"id":3,"internalValue":5})", ".internalValue: " + text},
        {R"({"id":3,"internalValue":"5"})", ".internalValue: " + serialised},
        {R"({"id":3,"internalValue":"9.1:5"})", ".internalValue: " + serialised},
        {R"({"id":3,"internalValue":"2.1:7"})", ".internalValue: " + serialised},
        {R"({"id":3,"internalDefaultValue":"3.1:x"})", ".internalDefaultValue: " + serialised},
        {R"({"id":3,"value":"1","internalValue":"3.1:1"})", ".internalValue: is given beside value"},
        {R"({"id":3,"defaultValue":"1","internalDefaultValue":"3.1:1"})",
         ".internalDefaultValue: is given beside defaultValue"},
        {R"({"id":3,"eventAlways":true})", ".eventAlways: " + digit},
        {R"({"id":3,"eventAlways":"2"})", ".eventAlways: " + digit},
        {R"({"id":3,"changedOnly":1})", ".changedOnly: " + digit},
        {R"({"id":3,"cacheTimeout":5})", ".cacheTimeout: " + digits},
        {R"({"id":3,"cacheTimeout":"5s"})", ".cacheTimeout: " + digits},
        {R"({"id":3,"pollingInterval":""})", ".pollingInterval: " + digits},
        {R"({"id":3,"pollingInterval":"2147483648"})", ".pollingInterval: " + digits},
        {R"({"id":3,"operations":[]})", ".operations: " + text},
        {R"({"id":3,"defaultValueInit":{}})", ".defaultValueInit: " + text},
        {R"({"id":3,"metadata":{}})", ".metadata: " + array},
        {R"({"id":3,"metadata":["k"]})", ".metadata[0]: expected an object"},
        {R"({"id":3,"metadata":[{"key":"k","value":"v"},{"key":"k"}]})",
         ".metadata[1].value: is missing; expected a string"},
        {R"({"id":3,"metadata":[{"key":1,"value":"v"}]})", ".metadata[0].key: " + text},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(FailToConfigure(R"({"devices":[{"id":1,"channels":[{"id":2,"datapoints":[{"id":9},)" + each.point +
                                  "]}]}]}"),
                  "configuration.devices[0].channels[0].datapoints[1]" + each.error)
            << each.point;
    }
}

TEST_F(ConfigurationTest, AMalformedContainerRefusesTheWholeDocument) {
    const std::string command = R"("command":"SetConfiguration","configuration":)";
    EXPECT_EQ(Fail(command + "[]"), "configuration: expected an object");
    EXPECT_EQ(Fail(command + "\"{}\""), "configuration: expected an object");
    EXPECT_EQ(FailToConfigure(R"({"devices":{}})"), "configuration.devices: expected an array");
    EXPECT_EQ(FailToConfigure(R"({"devices":[[]]})"), "configuration.devices[0]: expected an object");
    EXPECT_EQ(FailToConfigure(R"({"channels":1})"), "configuration.channels: expected an array");
    EXPECT_EQ(FailToConfigure(R"({"datapoints":null})"), "configuration.datapoints: expected an array");
    EXPECT_EQ(FailToConfigure(R"({"devices":[{"id":1},{"id":2,"channels":[{"id":3,"datapoints":7}]}]})"),
              "configuration.devices[1].channels[0].datapoints: expected an array");
    EXPECT_EQ(FailToConfigure(R"({"devices":[{"id":1,"enabled":0}]})"),
              "configuration.devices[0].enabled: expected true or false");
    EXPECT_EQ(FailToConfigure(R"({"devices":[{"id":1,"metadata":[{"value":"v"}]}]})"),
              "configuration.devices[0].metadata[0].key: is missing; expected a string");
}

TEST_F(ConfigurationTest, AQuoteInAMetadataKeyIsNoJsonAndAnsweredAtOnce) {
    EXPECT_THAT(FailToConfigure(R"({"devices":[{"id":1,"metadata":[{"key":"a"b","value":"v"}]}]})"),
                StartsWith("not JSON: "));
}

TEST_F(ConfigurationTest, PropertiesOfAnyObjectCanBeSetOnTheirOwn) {
    Configure(R"({"devices":[{"id":1,"name":"d","channels":[{"id":10,"datapoints":[{"id":100}]}]}]})");
    const json changed{{"event", "configurationChanged"}, {"id", 1}};
    for (const char* id : {"1", "10", "100"}) {
        const json answer = Ask(std::string(R"("command":"SetConfiguration","id":)") + id +
                                R"(,"properties":{"enabled":false,"visible":true})");
        EXPECT_EQ(answer["response"], json::object());
        EXPECT_THAT(observer.Take(), ElementsAre(changed)) << id;
    }
    Ask(R"("command":"SetConfiguration","id":100,"properties":{"name":"p"})");
    EXPECT_EQ(GetDevice(0), json::parse(R"({"id":1,"name":"d","enabled":false,"visible":true,"channels":[)"
                                        R"({"id":10,"enabled":false,"visible":true,"datapoints":[)"
                                        R"({"id":100,"name":"p","enabled":false,"visible":true}]}]})"));
}

TEST_F(ConfigurationTest, PropertiesThatAreWrongChangeNothing) {
    Configure(R"({"devices":[{"id":1}]})");
    const std::string command = R"("command":"SetConfiguration",)";
    EXPECT_EQ(Fail(command + R"("id":2,"properties":{"enabled":false})"), "id: no object has the id 2");
    EXPECT_EQ(Fail(command + R"("id":0,"properties":{"enabled":false})"), "id: expected a number from 1 to 4294967295");
    EXPECT_EQ(Fail(command + R"("properties":{"enabled":false})"), "id: is missing; expected a number");
    EXPECT_EQ(Fail(command + R"("id":1,"properties":{"enabled":"no"})"), "properties.enabled: expected true or false");
    EXPECT_EQ(Fail(command + R"("id":1,"properties":[])"), "properties: expected an object");
    EXPECT_EQ(Fail(command + R"("id":1)"),
              R"(configuration: is missing; expected a document, or "id" and "properties")");
    EXPECT_EQ(GetDevice(0), json::parse(R"({"id":1,"channels":[]})"));
}

TEST_F(ConfigurationTest, ADisabledDeviceStillTakesValues) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]}]}]})");
    Ask(R"("command":"SetConfiguration","id":1,"properties":{"enabled":false})");
    observer.Take();
    EXPECT_EQ(SetValue(100, "3.1:5").size(), 1U);
    EXPECT_EQ(GetValue(100), "3.1:5");
}

}  // namespace
