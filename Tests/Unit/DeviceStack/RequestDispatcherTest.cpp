#include "RequestDispatcher.h"

#include <gmock/gmock.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "DispatcherFixture.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using TestSupport::LogLine;

class RequestDispatcherTest : public DeviceStackTest::DispatcherFixture {
protected:
    /// All that a client gets for one frame.
    std::vector<json> AnswersTo(std::string_view frame) {
        sut.Dispatch(newcomer, frame);
        return newcomer.Take();
    }
};

TEST_F(RequestDispatcherTest, TellsTheSerialNumbers) {
    EXPECT_THAT(
        AnswersTo(R"({"request":7,"command":"GetDeviceConfig"})"),
        ElementsAre(json::parse(R"({"request":7,"response":{"deviceConfig":{"ipc":)"
                                R"({"KnxSerialNumber1":"00ab00000001","KnxSerialNumber2":"00ab00000002"}}}})")));
}

TEST_F(RequestDispatcherTest, LeavesOutASerialNumberThatThereIsNot) {
    LocalDevice::RequestDispatcher other({"", "00ab00000002"}, log.GetLogger());
    other.Add(newcomer);
    other.Dispatch(newcomer, R"({"request":1,"command":"GetDeviceConfig"})");
    EXPECT_EQ(newcomer.Take().at(0)["response"],
              json::parse(R"({"deviceConfig":{"ipc":{"KnxSerialNumber2":"00ab00000002"}}})"));
}

TEST_F(RequestDispatcherTest, AnAnswerBeginsWithTheNumberOfItsRequest) {
    sut.Dispatch(newcomer, R"({"command":"EnableNativeFormat","request":4294967295})");
    const auto messages = newcomer.TakeMessages();
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(*messages[0], R"({"request":4294967295,"response":{}})");
}

TEST_F(RequestDispatcherTest, RegistersAnApplication) {
    EXPECT_THAT(AnswersTo(R"({"request":1,"command":"RegisterApplication","name":"n","type":"t","domain":"d"})"),
                ElementsAre(json::parse(R"({"request":1,"response":{}})")));
    EXPECT_THAT(log.TakeLines(), ElementsAre(LogLine{"INFO", R"(Registered "n" (t, d))"}));
}

TEST_F(RequestDispatcherTest, DoesNotRegisterAnApplicationThatSaysTooLittle) {
    const std::string command = R"("command":"RegisterApplication",)";
    EXPECT_EQ(Fail(newcomer, command + R"("type":"t","domain":"d")"), "name: is missing; expected a string");
    EXPECT_EQ(Fail(newcomer, command + R"("name":"n","domain":"d")"), "type: is missing; expected a string");
    EXPECT_EQ(Fail(newcomer, command + R"("name":"n","type":"t","domain":3)"), "domain: expected a string");
    Ask(R"("command":"EmitEvent","eventType":"x")");
    EXPECT_THAT(newcomer.Take(), IsEmpty());
}

TEST_F(RequestDispatcherTest, AnEmittedEventReachesEveryRegisteredClient) {
    EXPECT_EQ(Ask(R"("command":"EmitEvent","eventType":"configurationLoaded")")["response"], json::object());
    EXPECT_THAT(observer.Take(),
                ElementsAre(json{{"event", "emitted"}, {"eventType", "configurationLoaded"}, {"sender", "observer"}}));
    EXPECT_THAT(newcomer.Take(), IsEmpty());
}

TEST_F(RequestDispatcherTest, AnEventOfAClientThatHasNotRegisteredHasNoSender) {
    Ask(newcomer, R"("command":"EmitEvent","eventType":"x")");
    EXPECT_THAT(observer.Take(), ElementsAre(json{{"event", "emitted"}, {"eventType", "x"}, {"sender", ""}}));
    EXPECT_EQ(Fail(R"("command":"EmitEvent")"), "eventType: is missing; expected a string");
}

TEST_F(RequestDispatcherTest, LoadedAndUnloadedEventsGateNothing) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100}]}]}]})");
    for (const char* type : {"configurationChangeBegin", "configurationUnloaded"}) {
        Ask(std::string(R"("command":"EmitEvent","eventType":")") + type + "\"");
        observer.Take();
        EXPECT_THAT(SetValue(100, std::string("5.1:") + type), SizeIs(1));
    }
}

TEST_F(RequestDispatcherTest, TellsTheModelOfOneDevice) {
    Configure(R"({"devices":[{"id":1},{"id":2,"name":"second","channels":[{"id":20}]}]})");
    EXPECT_EQ(Ask(R"("command":"GetObjectModel","id":2)")["response"],
              json::parse(R"({"devices":[{"id":2,"name":"second","channels":[{"id":20,"datapoints":[]}]}]})"));
    EXPECT_EQ(Fail(R"("command":"GetObjectModel","id":20)"), "id: no device has the id 20");
    EXPECT_EQ(Fail(R"("command":"GetObjectModel","id":"2")"), "id: expected a number from 1 to 4294967295");
}

TEST_F(RequestDispatcherTest, TellsTheModelInTheClientsFormat) {
    Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
              R"({"id":100,"internalDefaultValue":"2.1:1","internalValue":"3.1:4"}]}]}]})");
    const auto point = [](const json& answer) { return answer["response"]["devices"][0]["channels"][0]["datapoints"]; };
    EXPECT_EQ(point(Ask(R"("command":"GetObjectModel")")),
              json::parse(R"([{"id":100,"defaultValue":"2.1:1","value":"3.1:4"}])"));
    EXPECT_EQ(point(Ask(newcomer, R"("command":"GetObjectModel")")),
              json::parse(R"([{"id":100,"defaultValue":"1","value":"4"}])"));
}

TEST_F(RequestDispatcherTest, ACommandWithoutNumberIsExecutedAndNotAnswered) {
    EXPECT_THAT(AnswersTo(R"({"command":"EnableNativeFormat"})"), IsEmpty());
    EXPECT_THAT(AnswersTo(R"({"command":"EmitEvent","eventType":"x"})"), IsEmpty());
    EXPECT_THAT(observer.Take(), SizeIs(1));
}

TEST_F(RequestDispatcherTest, ACommandWithoutNumberThatFailsIsLoggedOnly) {
    EXPECT_THAT(AnswersTo(R"({"command":"SetValue","id":99,"value":"x"})"), IsEmpty());
    EXPECT_THAT(log.TakeLines(),
                ElementsAre(LogLine{"WARN", R"(Refused a request of "": id: no data point has the id 99)"}));
}

TEST_F(RequestDispatcherTest, AFrameThatIsNotUnderstoodIsAnsweredWithAnError) {
    const auto errorOf = [this](std::string_view frame) {
        const std::vector<json> answers = AnswersTo(frame);
        EXPECT_THAT(answers, SizeIs(1)) << frame;
        EXPECT_EQ(answers.at(0).size(), 1U) << answers.at(0);
        return answers.at(0).value("error", "");
    };
    EXPECT_THAT(errorOf(""), StartsWith("not JSON: "));
    EXPECT_THAT(errorOf("hello"), StartsWith("not JSON: "));
    EXPECT_THAT(errorOf("\xFF\xFE\x00"), StartsWith("not JSON: "));
    EXPECT_THAT(errorOf(std::string(60000, '[')), StartsWith("nested deeper than 64"));
    EXPECT_EQ(errorOf("[]"), "expected an object");
    EXPECT_EQ(errorOf("null"), "expected an object");
    EXPECT_EQ(errorOf("{}"), "command: is missing; expected a string");
    EXPECT_EQ(errorOf(R"({"command":1})"), "command: expected a string");
    EXPECT_EQ(errorOf(R"({"command":"Explode"})"),
              "command: expected one of EmitEvent, EnableNativeFormat, GetDeviceConfig, GetObjectModel, GetValue, "
              "RegisterApplication, SetConfiguration, SetValue");
    for (const char* number : {"0", "4294967296", "-1", "1.5", "\"1\"", "null", "[]"}) {
        EXPECT_EQ(errorOf(std::string(R"({"request":)") + number + R"(,"command":"GetDeviceConfig"})"),
                  "request: expected a number from 1 to 4294967295");
    }
}

TEST_F(RequestDispatcherTest, AnErrorCarriesTheNumberThatTheFrameBeginsWith) {
    const auto numberOf = [this](std::string_view frame) {
        const std::vector<json> answers = AnswersTo(frame);
        EXPECT_THAT(answers, SizeIs(1)) << frame;
        EXPECT_TRUE(answers.at(0).contains("error")) << answers.at(0);
        return answers.at(0).value("request", 0U);
    };
    EXPECT_EQ(numberOf(R"({"request":7,"command":"Explode"})"), 7U);
    EXPECT_EQ(numberOf(R"({"command":"Explode","request":7})"), 7U);
    EXPECT_EQ(numberOf(R"({"request":7})"), 7U);
    EXPECT_EQ(numberOf(R"({"request":7,"command":"SetConfiguration","configuration":{)"), 7U);
    EXPECT_EQ(numberOf(R"({"request":4294967295,"a":"b"c})"), 4294967295U);
    EXPECT_EQ(numberOf(R"({"request":7,)" + std::string(60000, '[')), 7U);
    EXPECT_EQ(numberOf(R"({"request":0,)"), 0U);
    EXPECT_EQ(numberOf(R"({"request":4294967296,)"), 0U);
    EXPECT_EQ(numberOf(R"({"request":99999999999,)"), 0U);
    EXPECT_EQ(numberOf(R"({"request":-7,)"), 0U);
    EXPECT_EQ(numberOf(R"({"request":)"), 0U);
    EXPECT_EQ(numberOf(R"({"request":7)"), 0U);
    EXPECT_EQ(numberOf(R"({"command":"x")"), 0U);
}

TEST_F(RequestDispatcherTest, AMessageThatIsTooLargeIsAnsweredWithAnError) {
    sut.RefuseTooLarge(newcomer, R"({"request":7,"command":"SetConf)", 16);
    sut.RefuseTooLarge(newcomer, "xxxxxxxx", 16);
    EXPECT_THAT(newcomer.Take(),
                ElementsAre(json{{"request", 7}, {"error", "message too large: the limit is 16 bytes"}},
                            json{{"error", "message too large: the limit is 16 bytes"}}));
}

TEST_F(RequestDispatcherTest, AnObjectOfManyMembersTakesNoLongTime) {
    std::string frame = R"({"request":7,"command":"GetDeviceConfig")";
    for (int i = 0; i < 200000; ++i) {
        frame += ",\"" + std::to_string(i) + "\":1";
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(AnswersTo(frame + "}"), SizeIs(1));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(RequestDispatcherTest, ARequestThatEndsUnexpectedlyIsAnswered) {
    newcomer.failures = 1;
    sut.Dispatch(newcomer, R"({"request":7,"command":"GetDeviceConfig"})");
    EXPECT_THAT(newcomer.Take(), ElementsAre(json{{"request", 7}, {"error", "unexpected failure: no memory"}}));
    EXPECT_EQ(log.TakeLines().back(), (LogLine{"ERROR", "A request ended unexpectedly: no memory"}));

    newcomer.failures = 2;
    sut.Dispatch(newcomer, R"({"request":8,"command":"GetDeviceConfig"})");
    EXPECT_THAT(newcomer.Take(), IsEmpty());
    EXPECT_EQ(log.TakeLines().back(), (LogLine{"ERROR", "No answer could be sent: no memory"}));
}

}  // namespace
