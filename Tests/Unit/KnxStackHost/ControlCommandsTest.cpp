#include "Control/ControlCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

#include <nlohmann/json.hpp>

#include "EventRecorder.h"
#include "FakeProgram.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using nlohmann::json;
using TestDevice::Dpt;
using TestDevice::GroupAddress;

/// Gives one value, whatever is asked for.
class ValueUser : public KnxStack::IGroupValueUser {
public:
    bool OnGroupValueWrite(std::uint32_t, const KnxStack::GroupValue&) override { return true; }
    bool OnGroupValueResponse(std::uint32_t, const KnxStack::GroupValue&) override { return true; }
    bool OnGroupValueRead(std::uint32_t, KnxStack::GroupValue& value, bool) override {
        value = KnxStack::GroupValue({42});
        return true;
    }
};

class ControlCommandsTest : public testing::Test {
protected:
    json Execute(const char* request) { return sut.Execute(json::parse(request)); }
    std::string ErrorOf(const char* request) {
        const auto answer = Execute(request);
        EXPECT_EQ(answer["ok"], false) << answer;
        return answer.value("error", "");
    }
    std::vector<TelegramEvent> WaitForTelegrams(std::size_t count) { return recorder.WaitFor<TelegramEvent>(count); }

    static DeviceDescription Load(const std::string& path) {
        if (path != "other.json") {
            throw DescriptionError(path + ": no such file");
        }
        auto other = TestDevice::Make();
        other.appId = "OtherApp";
        return other;
    }

    const DeviceDescription device = TestDevice::Make({
        TestDevice::Object(1, Dpt(1, 1), "CWU", {GroupAddress(1, 0, 1)}),
        TestDevice::Object(2, Dpt(5, 10), "CRT", {GroupAddress(1, 0, 2)}),
        TestDevice::Object(3, Dpt(5, 10), "CWU", {GroupAddress(1, 0, 3), GroupAddress(1, 0, 1)}),
    });
    HostEvents events;
    EventRecorder recorder{events};
    ProgramScript script;
    ValueUser user;
    KnxStackHost host{device, BusAddress{}, script.MakeFactory(), events, std::chrono::milliseconds(0)};
    ControlCommands sut{host, device, Load};
};

TEST_F(ControlCommandsTest, TheStatusTellsEverything) {
    const auto status = Execute(R"({"command":"status"})");
    EXPECT_EQ(status, json::parse(R"({
        "ok": true, "name": "Test device", "appId": "TestApp", "individualAddress": "1.1.10", "groupObjects": 3,
        "started": false, "runState": "unknown", "runStates": 0, "lastErrors": [],
        "cycles": 0, "restarts": 0, "busConnected": true,
        "loadStates": {"1": "loaded", "2": "loaded", "3": "loaded", "9": "loaded", "40960": "loaded"},
        "telegrams": {"received": 0, "unaddressed": 0, "overrun": 0, "taken": 0, "ignored": 0, "refused": 0,
                      "answered": 0, "silent": 0, "sent": 0, "queued": 0, "kept": 0, "echo": 0, "dropped": 0}
    })"));
}

TEST_F(ControlCommandsTest, TheStatusTellsTheFirstAndTheLastThreeErrorsOfTheCycle) {
    const auto lastErrors = [this] { return Execute(R"({"command":"status"})")["lastErrors"]; };
    events.Publish(LogEvent{log4cplus::ERROR_LOG_LEVEL, "[App] Init - first"});
    events.Publish(LogEvent{log4cplus::WARN_LOG_LEVEL, "[App] Init - no error"});
    events.Publish(LogEvent{log4cplus::FATAL_LOG_LEVEL, "[App] Init - second"});
    events.Publish(LogEvent{log4cplus::ERROR_LOG_LEVEL, "[App] Init - third"});
    events.Publish(LogEvent{log4cplus::ERROR_LOG_LEVEL, "[App] Init - fourth"});
    EXPECT_EQ(lastErrors(), json::parse(R"(["first", "second", "third", "fourth"])"));
    events.Publish(LogEvent{log4cplus::ERROR_LOG_LEVEL, "[App] Init - fifth"});
    EXPECT_EQ(lastErrors(), json::parse(R"(["first", "third", "fourth", "fifth"])"));
    events.Publish(RunStateEvent{RunState::Error});
    EXPECT_EQ(lastErrors().size(), 4U);

    events.Publish(RunStateEvent{RunState::Unknown});

    EXPECT_EQ(lastErrors(), json::array());
}

TEST_F(ControlCommandsTest, TheRequestsOwnMemberComesBack) {
    EXPECT_EQ(Execute(R"({"command":"status","request":7})")["request"], 7);
    EXPECT_EQ(Execute(R"({"command":"nothing","request":"a"})")["request"], "a");
    EXPECT_FALSE(Execute(R"({"command":"status"})").contains("request"));
}

TEST_F(ControlCommandsTest, StartRestartAndExitGiveTheResultsOfTheCalls) {
    EXPECT_EQ(ErrorOf(R"({"command":"restart"})"), "the application program is not started");
    EXPECT_EQ(Execute(R"({"command":"start"})"), json::parse(R"({"ok":true,"result":2})"));
    EXPECT_EQ(Execute(R"({"command":"restart"})"), json::parse(R"({"ok":true,"result":2})"));
    EXPECT_EQ(Execute(R"({"command":"status"})")["restarts"], 1);
    EXPECT_EQ(Execute(R"({"command":"status"})")["started"], true);
    EXPECT_EQ(Execute(R"({"command":"exit"})"), json::parse(R"({"ok":true,"result":1})"));
    EXPECT_EQ(ErrorOf(R"({"command":"exit"})"), "the application program is not started");
}

TEST_F(ControlCommandsTest, ADownloadEndsWithTheLoadStates) {
    const auto answer = Execute(R"({"command":"download","file":"other.json"})");
    EXPECT_EQ(answer["ok"], true);
    EXPECT_EQ(answer["loadStates"]["40960"], "loaded");
    EXPECT_EQ(Execute(R"({"command":"status"})")["appId"], "OtherApp");
    EXPECT_EQ(Execute(R"({"command":"status"})")["groupObjects"], 0);
}

TEST_F(ControlCommandsTest, ADownloadWithoutFileTakesTheLastDescription) {
    ASSERT_EQ(Execute(R"({"command":"unload"})")["loadStates"]["9"], "unloaded");
    EXPECT_EQ(Execute(R"({"command":"status"})")["groupObjects"], 0);
    EXPECT_EQ(Execute(R"({"command":"download"})")["ok"], true);
    EXPECT_EQ(Execute(R"({"command":"status"})")["groupObjects"], 3);
}

TEST_F(ControlCommandsTest, ADownloadCanBePartialAndCanBeAborted) {
    const auto answer = Execute(R"({"command":"download","objects":[9,1],"abortAfter":9})");
    EXPECT_EQ(answer["loadStates"], json::parse(R"({"1":"loaded","2":"loaded","3":"loaded","9":"loading",
                                                    "40960":"loaded"})"));
}

TEST_F(ControlCommandsTest, ADownloadThatCannotBeSaysWhy) {
    EXPECT_EQ(ErrorOf(R"({"command":"download","file":"missing.json"})"), "missing.json: no such file");
    for (const char* const request :
         {R"({"command":"download","objects":[4]})", R"({"command":"download","objects":"all"})",
          R"({"command":"download","objects":[[1]]})"}) {
        EXPECT_EQ(ErrorOf(request), "\"objects\" must be an array of the object types 1, 2, 3, 9, 11 and 40960");
    }
    for (const char* const request :
         {R"({"command":"download","abortAfter":-1})", R"({"command":"download","abortAfter":[]})",
          R"({"command":"download","abortAfter":65545})"}) {
        EXPECT_EQ(ErrorOf(request), "\"abortAfter\" must be one of the object types 1, 2, 3, 9, 11 and 40960");
    }
    EXPECT_EQ(ErrorOf(R"({"command":"download","objects":[1,2],"abortAfter":9})"),
              "\"abortAfter\" must be one of the objects to download");
    EXPECT_EQ(ErrorOf(R"({"command":"download","file":1})"), "\"file\" must be a text");
}

TEST_F(ControlCommandsTest, APropertyIsReadAsTheBusReadsIt) {
    EXPECT_EQ(Execute(R"({"command":"property","object":0,"id":11})")["raw"], "000a14ff0102");
    EXPECT_EQ(Execute(R"({"command":"property","object":11,"id":76,"start":0})")["raw"], "001e");
    EXPECT_EQ(Execute(R"({"command":"property","object":11,"id":53,"start":1,"count":2})")["raw"], "0000110b0000110c");
    EXPECT_EQ(Execute(R"({"command":"property","object":11,"id":53,"start":3})")["raw"], "");
    EXPECT_EQ(Execute(R"({"command":"property","object":40960,"id":5})")["raw"], "01");
    EXPECT_EQ(ErrorOf(R"({"command":"property","object":5,"id":1})"), "there is no interface object of type 5");
    EXPECT_EQ(ErrorOf(R"({"command":"property","object":0,"id":1})"), "the object has no property 1");
    EXPECT_EQ(ErrorOf(R"({"command":"property"})"), "\"object\" and \"id\" must be there");
    EXPECT_EQ(ErrorOf(R"({"command":"property","object":70000,"id":1})"),
              "\"object\" must be a whole number from 0 to 65535");
}

TEST_F(ControlCommandsTest, AWriteReachesTheGroupObjectsOfItsAddress) {
    EXPECT_EQ(Execute(R"({"command":"write","address":"1/0/3","value":"200"})")["groupObjects"], 1);
    const auto telegrams = WaitForTelegrams(1);
    ASSERT_EQ(telegrams.size(), 1U);
    EXPECT_EQ(telegrams[0].value, KnxStack::GroupValue({200}));
    EXPECT_EQ(telegrams[0].telegram.service, GroupService::Write);
    EXPECT_EQ(telegrams[0].telegram.source, 0xFFFA);
}

TEST_F(ControlCommandsTest, AResponseIsOne) {
    EXPECT_EQ(Execute(R"({"command":"respond","address":"1/0/1","value":true})")["groupObjects"], 2);
    const auto telegrams = WaitForTelegrams(2);
    ASSERT_EQ(telegrams.size(), 2U);
    EXPECT_EQ(telegrams[0].telegram.service, GroupService::Response);
    EXPECT_EQ(telegrams[0].verdict, Verdict::Taken);
    EXPECT_EQ(telegrams[1].verdict, Verdict::Refused);
}

TEST_F(ControlCommandsTest, ARawValueGoesOutAsItIs) {
    EXPECT_EQ(Execute(R"({"command":"write","address":"1/0/3","raw":"0102"})")["ok"], true);
    EXPECT_EQ(Execute(R"({"command":"write","address":"1/0/1","raw":"01","compact":true})")["ok"], true);
    const auto telegrams = WaitForTelegrams(3);
    ASSERT_EQ(telegrams.size(), 3U);
    EXPECT_EQ(telegrams[0].verdict, Verdict::Refused);
    EXPECT_EQ(telegrams[1].verdict, Verdict::Taken);
}

TEST_F(ControlCommandsTest, AnUnknownAddressNeedsAType) {
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"9/0/1","value":"1"})"),
              "the device does not know 9/0/1; expected a data-point type, such as \"dpt\":\"1.001\"");
    EXPECT_EQ(Execute(R"({"command":"write","address":"9/0/1","value":"1","dpt":"1.001"})")["groupObjects"], 0);
    EXPECT_EQ(Execute(R"({"command":"write","address":"9/0/1","raw":"0c1a"})")["ok"], true);
}

TEST_F(ControlCommandsTest, AWriteThatCannotBeSaysWhy) {
    EXPECT_EQ(ErrorOf(R"({"command":"write","value":"1"})"), "\"address\" must be a group address such as \"1/0/2\"");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0","value":"1"})"),
              "\"address\" must be a group address such as \"1/0/2\"");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3"})"), "\"value\" or \"raw\" is missing");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","value":"256"})"),
              "\"256\" is no value of data-point type 5.010");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","value":"1","dpt":"five"})"),
              "\"dpt\" must be a data-point type, such as \"1.001\"");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","raw":""})"),
              "\"raw\" must be 1 to 252 bytes in hexadecimal digits");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","raw":"0g"})"),
              "\"raw\" must be 1 to 252 bytes in hexadecimal digits");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","raw":"40","compact":true})"),
              "a compact value has 6 bits at most");
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","raw":"40","compact":1})"),
              "\"compact\" must be true or false");
}

TEST_F(ControlCommandsTest, AWriteHasOneValue) {
    EXPECT_EQ(ErrorOf(R"({"command":"write","address":"1/0/3","value":"1","raw":"01"})"),
              "\"value\" and \"raw\" exclude each other");
    EXPECT_EQ(ErrorOf(R"({"command":"respond","address":"1/0/3","value":null,"raw":"01"})"),
              "\"value\" and \"raw\" exclude each other");
}

TEST_F(ControlCommandsTest, ATextWithANulIsRefused) {
    for (const char* const request :
         {R"({"command":"download","file":"other.json\u0000b"})", R"({"command":"status\u0000"})",
          R"({"command":"read","address":"1/0/2\u0000"})", R"({"command":"write","address":"1/0/3","raw":"01\u0000"})",
          R"({"command":"write","address":"1/0/3","value":"1","dpt":"5.010\u0000"})",
          R"({"command":"write","address":"1/0/3","value":"1\u0000"})"}) {
        EXPECT_THAT(ErrorOf(request), testing::MatchesRegex("\"[a-z]+\" must be a text without NUL")) << request;
    }
    EXPECT_EQ(Execute(R"({"command":"status"})")["appId"], "TestApp");
}

TEST_F(ControlCommandsTest, AReadGivesTheAnswerOfTheDevice) {
    host.GetGroupObjects().RegisterUser(user);
    const auto answer = Execute(R"({"command":"read","address":"1/0/2","timeoutMs":10000})");
    host.GetGroupObjects().UnregisterUser(user);
    EXPECT_EQ(answer, json::parse(R"({"ok":true,"raw":"2a","value":"42","source":"1.1.10"})"));
}

TEST_F(ControlCommandsTest, AReadThatNobodyAnswersEndsInTime) {
    EXPECT_EQ(ErrorOf(R"({"command":"read","address":"1/0/1","timeoutMs":1})"), "nobody answered on 1/0/1 within 1 ms");
    EXPECT_EQ(ErrorOf(R"({"command":"read","address":"1/0/1","timeoutMs":60001})"),
              "\"timeoutMs\" must be a whole number from 0 to 60000");
}

TEST_F(ControlCommandsTest, WhatIsNoRequestIsRefused) {
    EXPECT_EQ(ErrorOf("[]"), "expected one JSON object a line");
    EXPECT_EQ(ErrorOf("1"), "expected one JSON object a line");
    EXPECT_EQ(ErrorOf("{}"), "\"command\" is missing");
    EXPECT_EQ(ErrorOf(R"({"command":1})"), "\"command\" must be a text");
    EXPECT_EQ(ErrorOf(R"({"command":"fly"})"), "there is no command \"fly\"");
}

TEST_F(ControlCommandsTest, AMonitorIsAccepted) {
    EXPECT_EQ(Execute(R"({"command":"monitor"})"), json::parse(R"({"ok":true})"));
}

TEST_F(ControlCommandsTest, ADownloadRestartsTheProgramBeforeAndAfter) {
    script.onRestart = [](int count, KnxStack::IApiHub& hub) {
        if (count == 2) {
            hub.GetApplicationPrg1Memory();
        }
        return 2;
    };
    Execute(R"({"command":"start"})");
    EXPECT_EQ(Execute(R"({"command":"download"})")["ok"], true);
    EXPECT_TRUE(script.WaitForCall("restart", 2));
}

}  // namespace
}  // namespace LocalDevice
