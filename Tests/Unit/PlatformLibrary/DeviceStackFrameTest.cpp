#include "Ostra/DeviceStackFrame.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

template <typename Frame>
Frame ParseAs(const std::string& text) {
    const auto frame = Ostra::ParseDeviceStackFrame(text);
    EXPECT_TRUE(frame && std::holds_alternative<Frame>(*frame)) << text;
    return frame && std::holds_alternative<Frame>(*frame) ? std::get<Frame>(*frame) : Frame{};
}

TEST(DeviceStackFrame, AcceptedAnswerKeepsItsText) {
    const std::string text = R"({"request":4294967295,"response":{"a":[1, 2]}})";
    const auto frame = ParseAs<Ostra::AnswerFrame>(text);
    EXPECT_EQ(frame.requestNumber, 4294967295UL);
    EXPECT_TRUE(frame.accepted);
    EXPECT_EQ(frame.text, text);
}

TEST(DeviceStackFrame, RefusedAnswerGivesTheReason) {
    const auto frame = ParseAs<Ostra::AnswerFrame>(R"({"request":7,"error":"no such point"})");
    EXPECT_EQ(frame.requestNumber, 7UL);
    EXPECT_FALSE(frame.accepted);
    EXPECT_EQ(frame.text, "no such point");
}

TEST(DeviceStackFrame, ReadsValueChanges) {
    const auto frame = ParseAs<Ostra::ValueChangedFrame>(R"({"event":"valueChanged","id":65536,"value":"3.1:42"})");
    EXPECT_EQ(frame.id, 65536UL);
    EXPECT_EQ(frame.kind, "valueChanged");
    EXPECT_EQ(frame.value, "3.1:42");
}

TEST(DeviceStackFrame, RestoresTheBytesOfLatin1Values) {
    const auto frame = ParseAs<Ostra::ValueChangedFrame>(R"({"event":"valueChanged","id":1,"value":"5.1:gr)"
                                                         "\xC3\xBC\xC3\x9F"
                                                         R"(e\u0000\u00ff","encoding":"latin-1"})");
    EXPECT_EQ(frame.value, "5.1:gr\xFC\xDF"s + "e\0\xFF"s);
}

TEST(DeviceStackFrame, KeepsUtf8Values) {
    const auto frame = ParseAs<Ostra::ValueChangedFrame>("{\"event\":\"valueChanged\",\"id\":1,\"value\":\"5.1:€\"}");
    EXPECT_EQ(frame.value, "5.1:€");
}

TEST(DeviceStackFrame, ReadsTheOtherEvents) {
    EXPECT_EQ(ParseAs<Ostra::ConfigurationChangedFrame>(R"({"event":"configurationChanged","id":12})").id, 12UL);
    const auto emitted =
        ParseAs<Ostra::EventEmittedFrame>(R"({"event":"emitted","eventType":"configurationLoaded","sender":"A"})");
    EXPECT_EQ(emitted.eventType, "configurationLoaded");
}

TEST(DeviceStackFrame, ReadsComplaints) {
    EXPECT_EQ(ParseAs<Ostra::ComplaintFrame>(R"({"error":"not JSON"})").text, "not JSON");
}

/// What becomes of a frame that is a change of value; anything else is the empty text.
std::string DescribeChange(const std::string& text) {
    const auto frame = Ostra::ParseDeviceStackFrame(text);
    const auto* change = frame ? std::get_if<Ostra::ValueChangedFrame>(&*frame) : nullptr;
    return change == nullptr ? "" : std::to_string(change->id) + ' ' + change->kind + ' ' + change->value;
}

// A blank in front makes no difference to JSON, but the frame is no longer the usual one.
TEST(DeviceStackFrame, UsualChangesAreReadAsTheParserReadsThem) {
    const std::string usual = R"({"event":"valueChanged","id":1001004,"value":"3.1:42"})";
    EXPECT_EQ(DescribeChange(usual), "1001004 valueChanged 3.1:42");
    for (const auto& text : {
             R"({"event":"valueChanged","id":0,"value":""})"s,
             R"({"event":"valueChanged","id":00,"value":"x"})"s,
             R"({"event":"valueChanged","id":007,"value":"x"})"s,
             R"({"event":"valueChanged","id":-1,"value":"x"})"s,
             R"({"event":"valueChanged","id":1e3,"value":"x"})"s,
             R"({"event":"valueChanged","id":4294967295,"value":"x"})"s,
             R"({"event":"valueChanged","id":4294967296,"value":"x"})"s,
             R"({"event":"valueChanged","id":,"value":"x"})"s,
             R"({"event":"valueChanged","id":1,"value":"\u0041\"\n"})"s,
             R"({"event":"valueChanged","id":1,"value":"x","value":"y"})"s,
             R"({"event":"valueChanged","id":1,"value":"x","encoding":"latin-1"})"s,
             R"({"event":"valueChanged","id":1,"value":"x"},{"id":"y"})"s,
             "{\"event\":\"valueChanged\",\"id\":1,\"value\":\"\x7F\"}"s,
             "{\"event\":\"valueChanged\",\"id\":1,\"value\":\"\t\"}"s,
             "{\"event\":\"valueChanged\",\"id\":1,\"value\":\"\xFF\"}"s,
             "{\"event\":\"valueChanged\",\"id\":1,\"value\":\"\0\"}"s,
         }) {
        EXPECT_EQ(DescribeChange(text), DescribeChange(' ' + text)) << text;
    }
    for (std::size_t i = 0; i < usual.size(); ++i) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = usual;
            changed[i] = static_cast<char>(byte);
            EXPECT_EQ(DescribeChange(changed), DescribeChange(' ' + changed)) << changed;
        }
        const std::string cut = usual.substr(0, i);
        EXPECT_EQ(DescribeChange(cut), DescribeChange(' ' + cut)) << cut;
    }
}

TEST(DeviceStackFrame, RefusesEverythingElse) {
    for (const auto& text : {
             ""s,
             "{"s,
             "[]"s,
             "7"s,
             "{}"s,
             "null"s,
             R"({"response":{}})"s,
             R"({"request":7})"s,
             R"({"request":"7","response":{}})"s,
             R"({"request":-1,"response":{}})"s,
             R"({"request":1.5,"response":{}})"s,
             R"({"request":4294967296,"response":{}})"s,
             R"({"request":7,"error":8})"s,
             R"({"event":"unheardOf","id":1})"s,
             R"({"event":7,"id":1,"value":"x"})"s,
             R"({"event":"valueChanged","value":"3.1:42"})"s,
             R"({"event":"valueChanged","id":1})"s,
             R"({"event":"valueChanged","id":1,"value":42})"s,
             R"({"event":"valueChanged","id":"1","value":"3.1:42"})"s,
             R"({"event":"valueChanged","id":1,"value":"x","encoding":"utf-16"})"s,
             R"({"event":"valueChanged","id":1,"value":"x","encoding":1})"s,
             "{\"event\":\"valueChanged\",\"id\":1,\"value\":\"\xFF\"}"s,
             R"({"event":"configurationChanged"})"s,
             R"({"event":"emitted"})"s,
             R"({"error":{}})"s,
             R"({"request":7,"response":{}} trailing)"s,
             "{\"request\":7,\"response\":{}}\0trailing"s,
             std::string(100000, '['),
         }) {
        EXPECT_FALSE(Ostra::ParseDeviceStackFrame(text)) << text.substr(0, 100);
    }
}

}  // namespace
