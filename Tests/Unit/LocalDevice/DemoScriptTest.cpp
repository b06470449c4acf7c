#include "DemoScript.h"

#include <gmock/gmock.h>

#include "JsonFile.h"
#include "TemporaryFolder.h"

namespace {

using LocalDevice::DemoScript;
using LocalDevice::DemoStep;
using LocalDevice::JsonFileError;
using LocalDevice::LoadDemoScript;
using testing::SizeIs;

constexpr auto Text = R"({
  "title": "Demo",
  "steps": [
    {"title": "Press", "write": {"address": "1/0/1", "value": "1"}},
    {"title": "Lamp", "expect": {"address": "1/0/2", "value": "on", "withinMs": 1500}}
  ]
})";

TEST(DemoScript, StepsAreReadInOrder) {
    const TestSupport::TemporaryFolder directory;
    const DemoScript sut = LoadDemoScript(directory.Write("demo.json", Text));

    EXPECT_EQ(sut.title, "Demo");
    ASSERT_THAT(sut.steps, SizeIs(2));
    EXPECT_EQ(sut.steps[0].title, "Press");
    EXPECT_EQ(sut.steps[0].kind, DemoStep::Kind::Write);
    EXPECT_EQ(sut.steps[0].groupAddress, 0x0801);
    EXPECT_EQ(sut.steps[0].value, "1");
    EXPECT_EQ(sut.steps[1].kind, DemoStep::Kind::Expect);
    EXPECT_EQ(sut.steps[1].groupAddress, 0x0802);
    EXPECT_EQ(sut.steps[1].value, "on");
    EXPECT_EQ(sut.steps[1].timeout, boost::chrono::milliseconds(1500));
}

struct BadChange {
    std::string from;
    std::string to;
    std::string message;  ///< behind the file's path
};

class DemoScriptRefuses : public testing::TestWithParam<BadChange> {};

TEST_P(DemoScriptRefuses, NamesFilePlaceAndExpectation) {
    std::string text = Text;
    const auto position = text.find(GetParam().from);
    ASSERT_NE(position, std::string::npos);
    text.replace(position, GetParam().from.size(), GetParam().to);
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("demo.json", text);
    EXPECT_THAT([&path] { LoadDemoScript(path); }, testing::ThrowsMessage<JsonFileError>(path + GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Changes, DemoScriptRefuses,
    testing::Values(
        BadChange{"\"title\": \"Demo\",", "", ":1: expected a member \"title\", got none"},
        BadChange{"\"steps\"", "\"step\"", ":3: /step: unknown key, expected one of title, steps"},
        BadChange{"\"title\": \"Press\", ", "", ":4: /steps/0: expected a member \"title\", got none"},
        BadChange{"\"write\"", "\"read\"",
                  ":4: /steps/0/read: unknown key, expected one of title, write, expect, await"},
        BadChange{", \"write\": {\"address\": \"1/0/1\", \"value\": \"1\"}", "",
                  ":4: /steps/0: expected one member \"write\", \"expect\" or \"await\""},
        BadChange{"\"title\": \"Lamp\"", "\"title\": \"Lamp\", \"write\": {}",
                  ":5: /steps/1: expected one member \"write\", \"expect\" or \"await\""},
        BadChange{"1/0/1", "1/0",
                  ":4: /steps/0/write/address: expected a group address, such as \"1/0/1\", got \"1/0\""},
        BadChange{"\"value\": \"1\"", "\"value\": 1", ":4: /steps/0/write/value: expected a text, got 1"},
        BadChange{"\"value\": \"1\"", "\"value\": \"1\", \"withinMs\": 5",
                  ":4: /steps/0/write/withinMs: unknown key, expected one of address, value"},
        BadChange{", \"withinMs\": 1500", "", ":5: /steps/1/expect: expected a member \"withinMs\", got none"},
        BadChange{"1500", "0", ":5: /steps/1/expect/withinMs: expected a whole number from 1 to 60000, got 0"},
        BadChange{"1500", "60001", ":5: /steps/1/expect/withinMs: expected a whole number from 1 to 60000, got 60001"},
        BadChange{"1/0/2\"", "1/0/2\", \"address\": \"1/0/3\"",
                  ":5: /steps/1/expect/address: stands twice in one object, first on line 5"}));

TEST(DemoScript, EveryDeliveredDemoIsGood) {
    EXPECT_EQ(LoadDemoScript(ORN_DEVICES_DIRECTORY "/stairlight.demo.json").title, "A stair light");
    EXPECT_EQ(LoadDemoScript(ORN_DEVICES_DIRECTORY "/copy.demo.json").title, "A copier");
}

}  // namespace
