#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "DispatcherFixture.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr unsigned long ChangedOnly = 100;
constexpr unsigned long EventAlways = 101;
constexpr unsigned long RunState = 102;
constexpr unsigned long Integer = 103;

class ValueCommandsTest : public DeviceStackTest::DispatcherFixture {
protected:
    ValueCommandsTest() {
        Configure(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[{"id":100},)"
                  R"({"id":101,"eventAlways":"1","changedOnly":"0"},{"id":102,"value":"0","eventAlways":"0"},)"
                  R"({"id":103,"valueType":"3","valueSubtype":"1","internalDefaultValue":"3.1:0"}]}]}]})");
    }

    json Register(const std::string& name) {
        return Ask(newcomer, R"("command":"RegisterApplication","name":")" + name + R"(","type":"t","domain":"d")");
    }
};

TEST_F(ValueCommandsTest, AValueIsReportedToEveryRegisteredClientInItsFormat) {
    Register("reader");
    EXPECT_THAT(SetValue(ChangedOnly, "3.1:42"),
                ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", "3.1:42"}}));
    EXPECT_THAT(newcomer.Take(), ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", "42"}}));
}

TEST_F(ValueCommandsTest, AClientThatHasNotRegisteredGetsNoEvents) {
    SetValue(ChangedOnly, "3.1:42");
    EXPECT_THAT(newcomer.Take(), IsEmpty());
}

TEST_F(ValueCommandsTest, AClientThatIsGoneGetsNothing) {
    Register("reader");
    sut.Remove(newcomer);
    SetValue(ChangedOnly, "3.1:42");
    EXPECT_THAT(newcomer.TakeMessages(), IsEmpty());
}

TEST_F(ValueCommandsTest, AClientThatRegistersForSomePointsIsToldOfTheseOnly) {
    Ask(newcomer, R"("command":"RegisterApplication","name":"n","type":"t","domain":"d","dataPoints":[103,100])");
    SetValue(ChangedOnly, "3.1:1");
    SetValue(EventAlways, "3.1:2");
    SetValue(Integer, "3.1:3");
    EXPECT_THAT(newcomer.Take(), ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", "1"}},
                                             json{{"event", "valueChanged"}, {"id", 103}, {"value", "3"}}));
    Ask(newcomer, R"("command":"RegisterApplication","name":"n","type":"t","domain":"d","dataPoints":[])");
    SetValue(ChangedOnly, "3.1:4");
    Ask(R"("command":"EmitEvent","eventType":"x")");
    EXPECT_THAT(newcomer.Take(), ElementsAre(json{{"event", "emitted"}, {"eventType", "x"}, {"sender", "observer"}}));
    Register("reader");
    SetValue(EventAlways, "3.1:5");
    EXPECT_THAT(newcomer.Take(), SizeIs(1));
}

TEST_F(ValueCommandsTest, AListOfPointsThatIsNoneIsRefused) {
    const std::string registration =
        R"("command":"RegisterApplication","name":"n","type":"t","domain":"d","dataPoints":)";
    EXPECT_EQ(Fail(newcomer, registration + "100"), "dataPoints: expected an array");
    EXPECT_EQ(Fail(newcomer, registration + "[100,0]"), "dataPoints: expected a number from 1 to 4294967295");
    SetValue(ChangedOnly, "3.1:1");
    EXPECT_THAT(newcomer.Take(), IsEmpty());
}

TEST_F(ValueCommandsTest, OnlyTheReportToItsWriterMayWait) {
    std::vector<DeviceStackTest::FakeClient> clients(3);
    for (auto& client : clients) {
        sut.Add(client);
        Ask(client, R"("command":"RegisterApplication","name":"n","type":"t","domain":"d")");
    }
    for (auto& writer : clients) {
        sut.Dispatch(writer, R"({"command":"SetValue","id":101,"value":"1"})");
        for (auto& client : clients) {
            EXPECT_THAT(client.TakeMessages(), SizeIs(1));
            EXPECT_EQ(std::exchange(client.patientMessages, 0), &client == &writer ? 1 : 0);
        }
    }
}

TEST_F(ValueCommandsTest, AnEventIsMadeOnceForAllClientsOfAFormat) {
    DeviceStackTest::FakeClient third;
    sut.Add(third);
    Ask(third, R"("command":"RegisterApplication","name":"third","type":"t","domain":"d")");
    Ask(third, R"("command":"EnableNativeFormat")");
    sut.Dispatch(observer, R"({"command":"SetValue","id":100,"value":"3.1:42"})");
    const auto first = observer.TakeMessages();
    const auto second = third.TakeMessages();
    ASSERT_THAT(first, SizeIs(1));
    ASSERT_THAT(second, SizeIs(1));
    EXPECT_EQ(first[0], second[0]);
}

TEST_F(ValueCommandsTest, AnEqualValueIsNoChange) {
    EXPECT_THAT(SetValue(ChangedOnly, "3.1:42"), SizeIs(1));
    EXPECT_THAT(SetValue(ChangedOnly, "3.1:42"), IsEmpty());
    EXPECT_THAT(SetValue(ChangedOnly, "3.1:43"), SizeIs(1));
}

TEST_F(ValueCommandsTest, AValueOfAnotherTypeIsAChange) {
    SetValue(ChangedOnly, "3.1:1");
    EXPECT_THAT(SetValue(ChangedOnly, "4.1:1"), SizeIs(1));
    EXPECT_THAT(SetValue(ChangedOnly, "2.1:1"), SizeIs(1));
    EXPECT_THAT(SetValue(ChangedOnly, "2.2:1"), SizeIs(1));
}

TEST_F(ValueCommandsTest, AnEventAlwaysPointReportsEqualValuesToo) {
    EXPECT_THAT(SetValue(EventAlways, "3.1:42"), SizeIs(1));
    EXPECT_THAT(SetValue(EventAlways, "3.1:42"), SizeIs(1));
}

TEST_F(ValueCommandsTest, ANumberThatSaysTheSameAsTheTextBeforeIsNoChangeButStored) {
    EXPECT_EQ(GetValue(RunState), "5.1:0");
    EXPECT_THAT(SetValue(RunState, "3.1:0"), IsEmpty());
    EXPECT_EQ(GetValue(RunState), "3.1:0");
    EXPECT_THAT(SetValue(RunState, "3.1:1"), SizeIs(1));
    EXPECT_THAT(SetValue(RunState, "5.1:1"), IsEmpty());
}

TEST_F(ValueCommandsTest, AValueThatEqualsTheDefaultIsTheFirstValue) {
    EXPECT_EQ(GetValue(Integer), "none");
    EXPECT_THAT(SetValue(Integer, "3.1:0"), SizeIs(1));
    EXPECT_EQ(GetValue(Integer), "3.1:0");
}

TEST_F(ValueCommandsTest, NotANumberEqualsItself) {
    EXPECT_THAT(SetValue(ChangedOnly, "4.1:nan"), SizeIs(1));
    EXPECT_THAT(SetValue(ChangedOnly, "4.1:nan"), IsEmpty());
}

TEST_F(ValueCommandsTest, TheValueWithoutContentTakesTheValueAway) {
    EXPECT_THAT(SetValue(ChangedOnly, "1.1:"), IsEmpty());
    SetValue(ChangedOnly, "3.1:42");
    Register("reader");
    EXPECT_THAT(SetValue(ChangedOnly, "1.1:"),
                ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", "1.1:"}}));
    EXPECT_THAT(newcomer.Take(), ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", ""}}));
    EXPECT_EQ(Fail(R"("command":"GetValue","id":100)"), "id: data point 100 has no value");
    EXPECT_THAT(SetValue(EventAlways, "1.1:"), SizeIs(1));
}

TEST_F(ValueCommandsTest, PlainTextBecomesTheDeclaredType) {
    EXPECT_TRUE(Ask(newcomer, R"("command":"SetValue","id":103,"value":"-7")").contains("response"));
    EXPECT_EQ(GetValue(Integer), "3.1:-7");
    EXPECT_EQ(Ask(newcomer, R"("command":"GetValue","id":103)")["response"], json::parse(R"({"value":"-7"})"));
    EXPECT_EQ(Fail(newcomer, R"("command":"SetValue","id":103,"value":"3.1:4")"),
              "value: expected the text of a value of type 3.1");
    EXPECT_EQ(GetValue(Integer), "3.1:-7");
}

TEST_F(ValueCommandsTest, PlainTextIsATextWhereNoTypeIsDeclared) {
    Ask(newcomer, R"("command":"SetValue","id":100,"value":"3.1:4")");
    EXPECT_EQ(GetValue(ChangedOnly), "5.1:3.1:4");
}

TEST_F(ValueCommandsTest, ASerialisedValueKeepsItsTypeWhateverIsDeclared) {
    SetValue(Integer, "2.1:1");
    EXPECT_EQ(GetValue(Integer), "2.1:1");
}

TEST_F(ValueCommandsTest, ATextThatIsNotUtf8TravelsAsLatin1) {
    const json event{{"event", "valueChanged"}, {"id", 100}, {"value", u8"5.1:K\u00FCche"}, {"encoding", "latin-1"}};
    const json answer = Ask(u8R"("command":"SetValue","id":100,"value":"5.1:Küche","encoding":"latin-1")");
    EXPECT_TRUE(answer.contains("response")) << answer;
    EXPECT_THAT(observer.Take(), ElementsAre(event));
    EXPECT_EQ(Ask(R"("command":"GetValue","id":100)")["response"],
              (json{{"value", u8"5.1:K\u00FCche"}, {"encoding", "latin-1"}}));
    EXPECT_EQ(GetModel()["devices"][0]["channels"][0]["datapoints"][0],
              (json{{"id", 100}, {"value", u8"5.1:K\u00FCche"}, {"encoding", "latin-1"}}));
    // The same characters in UTF-8 are other bytes, hence another value.
    EXPECT_THAT(SetValue(ChangedOnly, u8"5.1:K\u00FCche"),
                ElementsAre(json{{"event", "valueChanged"}, {"id", 100}, {"value", u8"5.1:K\u00FCche"}}));
}

TEST_F(ValueCommandsTest, EveryByteOfATextComesBack) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        std::string text = "5.1:x";
        text += byte < 0x80
                    ? std::string(1, static_cast<char>(byte))
                    : std::string{static_cast<char>(0xC0U | (byte >> 6U)), static_cast<char>(0x80U | (byte & 0x3FU))};
        const json value = text;
        Ask(R"("command":"SetValue","id":101,"encoding":"latin-1","value":)" + value.dump());
        const json response = Ask(R"("command":"GetValue","id":101)")["response"];
        EXPECT_EQ(response["value"], value) << "byte " << byte;
        EXPECT_EQ(response.contains("encoding"), byte >= 0x80) << "byte " << byte;
    }
}

TEST_F(ValueCommandsTest, ALatin1TextHasNoOtherCharacters) {
    EXPECT_EQ(Fail(u8R"("command":"SetValue","id":100,"value":"5.1:€","encoding":"latin-1")"),
              "value: expected characters up to U+00FF only, as its encoding is latin-1");
    EXPECT_EQ(Fail(R"("command":"SetValue","id":100,"value":"5.1:x","encoding":"utf-16")"),
              R"(encoding: expected "latin-1", or no encoding)");
    EXPECT_EQ(GetValue(ChangedOnly), "none");
}

TEST_F(ValueCommandsTest, TextsWithEveryKindOfCharacterArrive) {
    for (const std::string text : {"", ":", "\"\\/\b\f\n\r\t", "a\001b", u8"\u20AC\U0001F4A1", "5.1:x"}) {
        SetValue(EventAlways, "5.1:" + text);
        EXPECT_EQ(GetValue(EventAlways), "5.1:" + text);
    }
    Ask(R"("command":"SetValue","id":101,"value":"5.1:\u0000")");
    EXPECT_EQ(GetValue(EventAlways), std::string("5.1:\0", 5));
}

TEST_F(ValueCommandsTest, AWriteThatAnswersABusRequestIsAWrite) {
    EXPECT_TRUE(Ask(R"("command":"SetValue","id":100,"value":"3.1:4","response":true)").contains("response"));
    EXPECT_EQ(GetValue(ChangedOnly), "3.1:4");
}

// A blank in front makes no difference to JSON, but the request is no longer the usual one.
TEST_F(ValueCommandsTest, UsualWritesAreTakenAsTheParserTakesThem) {
    Configure(
        R"({"devices":[{"id":2,"channels":[{"id":20,"datapoints":[{"id":255,"eventAlways":"1","changedOnly":"0"}]}]}]})");
    const std::string usual = R"({"command":"SetValue","id":255,"value":"3.1:4"})";
    const auto describe = [this](const std::string& frame) {
        sut.Dispatch(observer, frame);
        std::string outcome = json(observer.Take()).dump();
        for (const auto& line : log.TakeLines()) {
            outcome += '\n' + line.text;
        }
        // Where a text stops to be JSON is one further behind the blank.
        return outcome.find("not JSON") == std::string::npos ? outcome : "not JSON";
    };
    EXPECT_EQ(describe(usual), R"([{"event":"valueChanged","id":255,"value":"3.1:4"}])");
    EXPECT_EQ(describe(R"({"command":"SetValue","id":99,"value":"3.1:4"})"),
              "[]\nRefused a request of \"observer\": id: no data point has the id 99");
    EXPECT_EQ(describe(R"({"command":"SetValue","id":255,"value":"4"})"),
              "[]\nRefused a request of \"observer\": value: expected a serialised value, such as \"3.1:42\"");
    for (std::size_t i = 0; i < usual.size(); ++i) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = usual;
            changed[i] = static_cast<char>(byte);
            EXPECT_EQ(describe(changed), describe(' ' + changed)) << changed;
        }
        const std::string cut = usual.substr(0, i);
        EXPECT_EQ(describe(cut), describe(' ' + cut)) << cut;
    }
}

TEST_F(ValueCommandsTest, WrongRequestsAreRefusedAndChangeNothing) {
    const std::string set = R"("command":"SetValue",)";
    EXPECT_EQ(Fail(set + R"("id":99,"value":"3.1:4")"), "id: no data point has the id 99");
    EXPECT_EQ(Fail(set + R"("id":1,"value":"3.1:4")"), "id: no data point has the id 1");
    EXPECT_EQ(Fail(set + R"("id":10,"value":"3.1:4")"), "id: no data point has the id 10");
    EXPECT_EQ(Fail(set + R"("value":"3.1:4")"), "id: is missing; expected a number");
    EXPECT_EQ(Fail(set + R"("id":"100","value":"3.1:4")"), "id: expected a number from 1 to 4294967295");
    EXPECT_EQ(Fail(set + R"("id":100)"), "value: is missing; expected a string");
    EXPECT_EQ(Fail(set + R"("id":100,"value":4)"), "value: expected a string");
    EXPECT_EQ(Fail(set + R"("id":100,"value":"4")"), R"(value: expected a serialised value, such as "3.1:42")");
    EXPECT_EQ(Fail(set + R"("id":100,"value":"3.1:4","encoding":1)"), "encoding: expected a string");
    EXPECT_EQ(Fail(set + R"("id":100,"value":"3.1:4","response":1)"), "response: expected true or false");
    EXPECT_EQ(Fail(R"("command":"GetValue")"), "id: is missing; expected a number");
    EXPECT_EQ(Fail(R"("command":"GetValue","id":99)"), "id: no data point has the id 99");
    EXPECT_EQ(GetValue(ChangedOnly), "none");
    EXPECT_THAT(observer.Take(), IsEmpty());
}

}  // namespace
